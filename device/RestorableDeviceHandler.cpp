#include "device/RestorableDeviceHandler.h"

#include "debug/status_text.h"
#include "foundation/cf_text.h"
#include "foundation/monotonic_clock.h"
#include "output/diagnostic_names.h"
#include "output/output_str_state.h"

#include <boost/filesystem/operations.hpp>
#include <fmt/format.h>

#include <chrono>
#include <new>
#include <utility>

namespace vandrel {

namespace {

namespace names = diagnostic_names;

/// A first subscription starts MobileDevice's USB service, on which restorable devices depend too.
void prime_mobile_device() {
    _AMDeviceNotification* subscription = nullptr;
    AMDeviceNotificationSubscribe([](const AMDeviceNotificationInfo*, void*) {}, 0, 1, nullptr,
                                  &subscription);
    AMDeviceNotificationUnsubscribe(subscription);
}

device_handle retained(_AMRestorableDevice* device) {
    CFRetain(device);
    return {device, CFTypeDeleter()};
}

void enable_restore_log(output_str_state& outputter, const boost::filesystem::path& file) {
    const std::string& path = file.string();
    outputter.push_debug(fmt::format("{}: AMRestoreEnableFileLogging({})",
                                     names::session_constructor.signature, path));
    const std::int32_t result = AMRestoreEnableFileLogging(path.c_str());
    if (result != 0) {
        const cf_handle<CFStringRef> text(AMRLocalizedCopyStringForAMRError(result));
        outputter.push_debug(fmt::format("{}: AMRestoreEnableFileLogging failed ({}: {})",
                                         names::session_constructor.signature, result,
                                         cfstring_to_string(text.get())));
    }
}

} // namespace

callback_gate& device_notifier_state::gate() {
    // Never destroyed: callbacks come until the very end of the process.
    static callback_gate& gate = *new callback_gate;
    return gate;
}

callback_gate::visit device_notifier_state::enter(const diagnostic_name& callback,
                                                  const void* context) {
    if (context == nullptr) {
        fail_session_assertion(callback, "context");
    }
    return gate().enter(context);
}

device_notifier_state::device_notifier_state(
    std::shared_ptr<output_str_state> output_channel,
    const std::optional<boost::filesystem::path>& amrLogFile,
    const std::optional<boost::filesystem::path>& scratchOverride)
    : outputter(std::move(output_channel)) {
    if (!outputter) {
        fail_session_assertion(names::session_constructor, "this->outputter");
    }
    outputter->push_debug(fmt::format("{}: initializing", names::session_constructor.signature));
    scratchLocation = scratchOverride && !scratchOverride->empty()
                          ? *scratchOverride
                          : boost::filesystem::temp_directory_path() /
                                boost::filesystem::unique_path("vandrel.%%%%%%");
    prime_mobile_device();
    if (amrLogFile) {
        enable_restore_log(*outputter, *amrLogFile);
    }
    gate().open(this);
}

device_notifier_state::~device_notifier_state() {
    gate().close(this);
    if (scratchLocation.empty()) {
        fail_session_assertion(names::session_destructor, "!scratchLocation.empty()");
    }
    remove_scratch_directory();
}

void device_notifier_state::remove_scratch_directory() noexcept {
    boost::system::error_code error;
    boost::filesystem::remove_all(scratchLocation, error);
    if (error == boost::system::errc::not_enough_memory) {
        // A command that ran out of memory has freed its objects by now, so this may succeed.
        boost::filesystem::remove_all(scratchLocation, error);
    }
    if (!error) {
        return;
    }
    try {
        outputter->push_debug(fmt::format("{}: Failed to clean scratch location ({})",
                                          names::session_destructor.signature, error.message()));
    } catch (const std::bad_alloc&) {
        // Without memory for the line.
        return;
    }
}

void device_notifier_state::deviceNotificationCallback(_AMRestorableDevice* device,
                                                       notification_type type, void* context) {
    const auto visit = enter(names::deviceNotificationCallback, context);
    if (!visit) {
        return;
    }
    auto& session = *static_cast<device_notifier_state*>(context);
    if (device == nullptr) {
        session.outputter->push_debug(fmt::format("{}: called with null device",
                                                  names::deviceNotificationCallback.signature));
        return;
    }
    if (session.update_devices(device, type)) {
        session.devices.notify_all();
    }
}

bool device_notifier_state::update_devices(_AMRestorableDevice* device, notification_type type) {
    constexpr auto signature = names::deviceNotificationCallback.signature;
    const auto log = [this](std::string line) { outputter->push_debug(std::move(line)); };

    auto table = devices.lock();
    if (table.in_teardown()) {
        log(fmt::format("{}: Ignoring notification, inTeardown", signature));
        return false;
    }
    if (device_state{AMRestorableDeviceGetState(device)} == device_state::BootedOS) {
        log(fmt::format("{}: Ignoring booted device", signature));
        return false;
    }
    const Orv::ecid ecid(AMRestorableDeviceGetECID(device));
    if (ecid.value() == 0) {
        log(fmt::format("{}: Ignoring AMRestorableDevice with invalid ECID ({} type {})", signature,
                        fmt::ptr(device), type));
        return false;
    }
    switch (type) {
    case notification_type::connected:
        if (table.contains(ecid)) {
            log(fmt::format("{}: Connected AMRestorableDevice, but '{}' already present", signature,
                            ecid));
        }
        log(fmt::format("{}: Adding '{}' ({})", signature, ecid, fmt::ptr(device)));
        table.insert_or_assign(ecid, retained(device));
        break;
    case notification_type::disconnected:
        // The message is inverted: it is logged when the device is present. Log readers rely on it.
        if (table.contains(ecid)) {
            log(fmt::format("{}: Disconnected AMRestorableDevice, but '{}' not present", signature,
                            ecid));
        }
        log(fmt::format("{}: Removing '{}'", signature, ecid));
        table.erase(ecid);
        break;
    default:
        log(fmt::format("{}: called with invalid notification type {}", signature,
                        static_cast<std::int32_t>(type)));
    }
    return true;
}

device_handle device_notifier_state::waitForDevice(const Orv::ecid& ecid) {
    constexpr auto signature = names::waitForDevice.signature;

    outputter->push_debug(fmt::format("{}: Looking for device '{}'", signature, ecid));
    auto table = devices.lock();
    if (auto device = table.find(ecid)) {
        return device;
    }
    outputter->push_debug(fmt::format("{}: Waiting for device '{}'", signature, ecid));
    const deadline end(detectTimeout);
    for (;;) {
        if (auto device = table.find(ecid)) {
            return device;
        }
        const auto remaining = end.remaining();
        if (remaining == std::chrono::nanoseconds::zero()) {
            return nullptr;
        }
        table.wait_for_change(remaining);
    }
}

} // namespace vandrel
