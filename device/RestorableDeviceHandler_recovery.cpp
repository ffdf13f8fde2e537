#include "debug/status_text.h"
#include "device/RestorableDeviceHandler.h"
#include "driver/tool_error.h"
#include "foundation/assertion.h"
#include "foundation/cf_text.h"

#include <fmt/format.h>

#include <string_view>

namespace vandrel {

namespace {

constexpr auto source = "device/RestorableDeviceHandler.cpp";
constexpr auto operate_signature =
    "void __cdecl vandrel::device_notifier_state::operateOnRecoveryDevice("
    "struct _AMRecoveryModeDevice *)";

/// `what` is the command's name in messages.
void check(std::int32_t result, std::string_view what) {
    if (result != 0) {
        throw make_tool_error(tool_error::recovery_command_failed,
                              fmt::format("{} command failed ({})", what, amr_error{result}));
    }
}

} // namespace

void device_notifier_state::operateOnRecoveryDevice(_AMRecoveryModeDevice* recoveryDevice) {
    if (recoveryDevice == nullptr) {
        fail_assertion(source, 269, operate_signature, "recoveryDevice != nullptr");
    }
    const auto log = [this](std::string_view call) {
        outputter->push_debug(fmt::format("{}: {}", operate_signature, call));
    };
    switch (operation) {
    case device_operation::exit_recovery:
        log("AMRecoveryModeDeviceSetAutoBoot(true)");
        check(AMRecoveryModeDeviceSetAutoBoot(recoveryDevice, true), "SetAutoBoot");
        log("AMRecoveryModeDeviceReboot()");
        check(AMRecoveryModeDeviceReboot(recoveryDevice), "Reboot");
        break;
    case device_operation::no_exit_recovery:
        log("AMRecoveryModeDeviceSetAutoBoot(false)");
        check(AMRecoveryModeDeviceSetAutoBoot(recoveryDevice, false), "SetAutoBoot");
        break;
    default:
        return;
    }
    outputter->print_value("CommandSuccess", kCFBooleanTrue);
}

} // namespace vandrel
