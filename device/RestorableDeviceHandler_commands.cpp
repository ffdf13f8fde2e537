#include "device/RestorableDeviceHandler.h"
#include "device/device_properties.h"
#include "driver/tool_error.h"
#include "foundation/monotonic_clock.h"
#include "output/diagnostic_names.h"
#include "output/output_str_state.h"

#include <fmt/format.h>

#include <chrono>
#include <thread>
#include <utility>
#include <vector>

namespace vandrel {

std::int32_t device_notifier_state::waitForCompletion() {
    constexpr auto signature = diagnostic_names::waitForCompletion.signature;

    outputter->push_debug(
        fmt::format("{}: AMRestorableDeviceRegisterForNotifications()", signature));
    CFErrorRef error_out = nullptr;
    const std::int32_t registration = AMRestorableDeviceRegisterForNotifications(
        [](_AMRestorableDevice* device, std::uint32_t type, void* context) noexcept {
            deviceNotificationCallback(device, notification_type{type}, context);
        },
        this, &error_out);
    if (cf_error_handle error{error_out}) {
        outputter->print_formatted_error(error.get());
        throw std::move(error);
    }

    if (operation == device_operation::list_devices) {
        list_devices();
    } else {
        operate_on_device();
    }

    devices.lock().begin_teardown();
    outputter->push_debug(
        fmt::format("{}: AMRestorableDeviceUnregisterForNotifications()", signature));
    return AMRestorableDeviceUnregisterForNotifications(registration);
}

void device_notifier_state::operate_on_device() {
    if (!targetEcid) {
        throw make_tool_error(tool_error::bad_command,
                              fmt::format("{} command requires device ecid", operationName));
    }
    const device_handle device = waitForDevice(*targetEcid);
    if (!device) {
        throw make_tool_error(tool_error::bad_ecid,
                              fmt::format("Failed to find device with ecid {} after {} seconds",
                                          *targetEcid, whole_seconds(detectTimeout)));
    }
    switch (operation) {
    case device_operation::restore:
    case device_operation::enter_restore_mode:
        restoreDevice(device.get());
        return;
    case device_operation::device_info:
        outputter->print_value(
            "DeviceInfo",
            device_info_dictionary(make_device_info(*targetEcid, device.get())).get());
        return;
    case device_operation::exit_recovery:
    case device_operation::no_exit_recovery:
        operateOnRecoveryDevice(copy_recovery_device(device.get()).get());
        return;
    case device_operation::list_devices:
        // Needs no device, and is handled before.
        break;
    }
    throw make_tool_error(tool_error::invalid_argument, "Internal error, missing operation");
}

void device_notifier_state::list_devices() {
    // Always takes the whole time: MobileDevice does not report which device is the last.
    const deadline end(detectTimeout);
    for (auto remaining = end.remaining(); remaining > std::chrono::nanoseconds::zero();
         remaining = end.remaining()) {
        std::this_thread::sleep_for(remaining);
    }

    // Held until the record is queued.
    const auto table = devices.lock();
    const std::vector<Orv::ecid> ecids = table.ecids();
    const cf_handle<CFMutableArrayRef> list(CFArrayCreateMutable(
        kCFAllocatorDefault, static_cast<CFIndex>(ecids.size()), &kCFTypeArrayCallBacks));
    for (const Orv::ecid& ecid : ecids) {
        const auto text = ecid_cfstring(ecid);
        if (list && text) {
            CFArrayAppendValue(list.get(), text.get());
        }
    }
    outputter->print_value("DeviceList", list.get());
}

} // namespace vandrel
