#include "debug/status_text.h"
#include "device/RestorableDeviceHandler.h"
#include "driver/tool_error.h"
#include "output/diagnostic_names.h"
#include "output/output_str_state.h"

#include <fmt/format.h>

#include <string_view>

namespace vandrel {

namespace {

/// `what` is the call's name in messages.
void check(std::int32_t result, std::string_view what) {
    if (result != 0) {
        throw make_tool_error(tool_error::recovery_command_failed,
                              fmt::format("{} command failed ({})", what, amr_error{result}));
    }
}

} // namespace

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

void device_notifier_state::operateOnRecoveryDevice(_AMRecoveryModeDevice* recoveryDevice) {
    if (recoveryDevice == nullptr) {
        fail_session_assertion(diagnostic_names::operateOnRecoveryDevice,
                               "recoveryDevice != nullptr");
    }
    const auto log = [this](std::string_view call) {
        outputter->push_debug(
            fmt::format("{}: {}", diagnostic_names::operateOnRecoveryDevice.signature, call));
    };
    const auto report_success = [this] {
        outputter->print_value("CommandSuccess", kCFBooleanTrue);
    };
    switch (operation) {
    case device_operation::exit_recovery:
        log("AMRecoveryModeDeviceSetAutoBoot(true)");
        check(AMRecoveryModeDeviceSetAutoBoot(recoveryDevice, true), "SetAutoBoot");
        log("AMRecoveryModeDeviceReboot()");
        check(AMRecoveryModeDeviceReboot(recoveryDevice), "Reboot");
        report_success();
        break;
    case device_operation::no_exit_recovery:
        log("AMRecoveryModeDeviceSetAutoBoot(false)");
        check(AMRecoveryModeDeviceSetAutoBoot(recoveryDevice, false), "SetAutoBoot");
        report_success();
        break;
    case device_operation::list_devices:
    case device_operation::device_info:
    case device_operation::restore:
    case device_operation::enter_restore_mode:
        break;
    }
}

} // namespace vandrel
