#include "debug/status_text.h"
#include "device/RestorableDeviceHandler.h"
#include "device/device_properties.h"
#include "driver/tool_error.h"
#include "foundation/monotonic_clock.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>
#include <vector>

namespace vandrel {

namespace {

constexpr auto wait_for_completion_signature =
    "int __cdecl vandrel::device_notifier_state::waitForCompletion(void)";

void sleep_for(std::int64_t nanoseconds) {
    // Deadlines near the end of time would overflow inside the library's own clock arithmetic.
    constexpr std::int64_t longest_single_sleep = 3'600'000'000'000;
    const std::int64_t deadline = deadline_after(monotonic_now(), nanoseconds);
    for (std::int64_t remaining = deadline - monotonic_now(); remaining > 0;
         remaining = deadline - monotonic_now()) {
        std::this_thread::sleep_for(
            std::chrono::nanoseconds(std::min(remaining, longest_single_sleep)));
    }
}

} // namespace

std::int32_t device_notifier_state::waitForCompletion() {
    constexpr auto signature = wait_for_completion_signature;

    outputter->push_debug(
        fmt::format("{}: AMRestorableDeviceRegisterForNotifications()", signature));
    CFErrorRef error_out = nullptr;
    const std::int32_t registration = AMRestorableDeviceRegisterForNotifications(
        [](_AMRestorableDevice* device, std::uint32_t type, void* context) {
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

    {
        const std::lock_guard lock(stateMutex);
        inTeardown = true;
    }
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
        break;
    case device_operation::device_info:
        outputter->print_value(
            "DeviceInfo",
            device_info_dictionary(make_device_info(*targetEcid, device.get())).get());
        break;
    case device_operation::exit_recovery:
    case device_operation::no_exit_recovery:
        operateOnRecoveryDevice(copy_recovery_device(device.get()).get());
        break;
    default:
        throw make_tool_error(tool_error::invalid_argument, "Internal error, missing operation");
    }
}

cf_handle<_AMRecoveryModeDevice*>
device_notifier_state::copy_recovery_device(_AMRestorableDevice* device) const {
    const device_state state{AMRestorableDeviceGetState(device)};
    if (state != device_state::Recovery) {
        throw make_tool_error(
            tool_error::device_bad_state,
            fmt::format("Device in state {} not valid for {}", state, operationName));
    }
    cf_handle<_AMRecoveryModeDevice*> recovery_device(
        AMRestorableDeviceCopyRecoveryModeDevice(device));
    if (!recovery_device) {
        throw make_tool_error(tool_error::device_bad_state,
                              "Recovery device not available for this Restorable device");
    }
    return recovery_device;
}

void device_notifier_state::list_devices() {
    sleep_for(detectTimeout);

    const std::lock_guard lock(stateMutex);
    std::vector<Orv::ecid> ecids;
    ecids.reserve(devices.size());
    for (const auto& [ecid, device] : devices) {
        ecids.push_back(ecid);
    }
    std::sort(ecids.begin(), ecids.end(), [](const Orv::ecid& left, const Orv::ecid& right) {
        return left.value() < right.value();
    });
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
