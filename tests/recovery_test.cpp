/// `--exit-recovery` and `--no-exit-recovery`.

#include "tests/tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace vandrel::testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr auto some_ecid = "00000000000000AB";
const std::string operate_says =
    "void __cdecl vandrel::device_notifier_state::operateOnRecoveryDevice("
    "struct _AMRecoveryModeDevice *): ";

const plist_value success = dictionary{{"Type", "CommandSuccess"}, {"Value", true}};

tool_run run_on(const std::string& command, const dictionary& device,
                const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments{command, "--ecid", some_ecid};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return tool_call(arguments).scenario({{"Devices", array{device}}}).run();
}

/// The calls of functions that change the Recovery-mode device, with their arguments.
std::vector<std::string> device_calls(const tool_run& run) {
    std::vector<std::string> result;
    for (const plist_value& entry : run.journal) {
        const auto& call = std::get<std::string>(entry.at("Call").value);
        if (call == "AMRecoveryModeDeviceSetAutoBoot") {
            const bool flag = std::get<bool>(entry.at("Arguments").at("AutoBoot").value);
            result.push_back(flag ? "SetAutoBoot(true)" : "SetAutoBoot(false)");
        } else if (call.starts_with("AMRecoveryModeDevice")) {
            result.push_back(call.substr(20));
        }
    }
    return result;
}

/// The lines about the calls, without their common prefix.
std::vector<std::string> explained(const tool_run& run) {
    std::vector<std::string> result;
    for (const std::string& line : run.diagnostics) {
        if (line.starts_with(operate_says)) {
            result.push_back(line.substr(operate_says.size()));
        }
    }
    return result;
}

void expect_error(const tool_run& run, int code, const std::string& description,
                  const std::string& reason) {
    EXPECT_EQ(run.status, code);
    EXPECT_THAT(run.records, ElementsAre(tool_error_record(code, description, reason)));
}

// --- success

TEST(exit_recovery, sets_auto_boot_and_then_reboots) {
    const tool_run run = run_on("--exit-recovery", recovery_device(some_ecid));
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(success));
    EXPECT_EQ(run.standard_error, "");
    EXPECT_THAT(device_calls(run), ElementsAre("SetAutoBoot(true)", "Reboot"));
}

TEST(no_exit_recovery, clears_auto_boot_and_does_not_reboot) {
    const tool_run run = run_on("--no-exit-recovery", recovery_device(some_ecid), {"--debug"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(success));
    EXPECT_THAT(device_calls(run), ElementsAre("SetAutoBoot(false)"));
    EXPECT_THAT(explained(run), ElementsAre("AMRecoveryModeDeviceSetAutoBoot(false)"));
}

TEST(exit_recovery, is_explained_call_by_call) {
    const tool_run run = run_on("--exit-recovery", recovery_device(some_ecid), {"--debug"});
    EXPECT_THAT(explained(run), ElementsAre("AMRecoveryModeDeviceSetAutoBoot(true)",
                                            "AMRecoveryModeDeviceReboot()"));
}

// --- the device refuses

TEST(exit_recovery, ends_when_the_setting_is_refused_and_does_not_reboot) {
    const tool_run run = run_on(
        "--exit-recovery", recovery_device(some_ecid, {{"SetAutoBootResult", 12}}), {"--debug"});
    expect_error(run, 6, "Recovery mode command failed",
                 "SetAutoBoot command failed (Unable to open file)");
    EXPECT_THAT(device_calls(run), ElementsAre("SetAutoBoot(true)"));
    EXPECT_THAT(explained(run), ElementsAre("AMRecoveryModeDeviceSetAutoBoot(true)"));
}

TEST(exit_recovery, ends_when_the_reboot_is_refused_and_undoes_nothing) {
    const tool_run run =
        run_on("--exit-recovery", recovery_device(some_ecid, {{"RebootResult", 12}}), {"--debug"});
    expect_error(run, 6, "Recovery mode command failed",
                 "Reboot command failed (Unable to open file)");
    EXPECT_THAT(device_calls(run), ElementsAre("SetAutoBoot(true)", "Reboot"));
    EXPECT_THAT(explained(run), ElementsAre("AMRecoveryModeDeviceSetAutoBoot(true)",
                                            "AMRecoveryModeDeviceReboot()"));
}

TEST(no_exit_recovery, ends_when_the_setting_is_refused) {
    const tool_run run =
        run_on("--no-exit-recovery", recovery_device(some_ecid, {{"SetAutoBootResult", 12}}));
    expect_error(run, 6, "Recovery mode command failed",
                 "SetAutoBoot command failed (Unable to open file)");
    EXPECT_THAT(device_calls(run), ElementsAre("SetAutoBoot(false)"));
}

TEST(exit_recovery, shows_the_number_of_an_error_without_a_name) {
    expect_error(run_on("--exit-recovery", recovery_device(some_ecid, {{"RebootResult", -402}})), 6,
                 "Recovery mode command failed", "Reboot command failed (Unknown error -402)");
}

// --- the device is not in Recovery mode

TEST(exit_recovery, is_not_for_devices_in_other_states) {
    const std::vector<std::pair<plist_value, std::string>> states = {
        {"DFU", "DFU"},
        {"RestoreOS", "RestoreOS"},
        {"Unknown", "Unknown"},
        {17, "<invalid device state 17>"},
    };
    for (const auto& [state, name] : states) {
        const tool_run run =
            run_on("--exit-recovery", recovery_device(some_ecid, {{"State", state}}));
        expect_error(run, 5, "Device is in bad state",
                     "Device in state " + name + " not valid for exit-recovery");
        EXPECT_THAT(device_calls(run), IsEmpty());
    }
}

TEST(no_exit_recovery, is_not_for_devices_in_other_states) {
    const tool_run run =
        run_on("--no-exit-recovery", recovery_device(some_ecid, {{"State", "DFU"}}));
    expect_error(run, 5, "Device is in bad state",
                 "Device in state DFU not valid for no-exit-recovery");
    EXPECT_THAT(device_calls(run), IsEmpty());
}

TEST(exit_recovery, needs_a_recovery_mode_side) {
    const tool_run run =
        run_on("--exit-recovery", recovery_device(some_ecid, {{"HasRecoveryDevice", false}}));
    expect_error(run, 5, "Device is in bad state",
                 "Recovery device not available for this Restorable device");
    EXPECT_THAT(device_calls(run), IsEmpty());
}

TEST(exit_recovery, waits_for_its_device_and_fails_without_it) {
    const tool_run run =
        tool_call({"--exit-recovery", "--ecid", some_ecid, "--detect-timeout", "0"})
            .scenario({{"Devices", array{}}})
            .run();
    expect_error(run, 4, "Bad ECID specified",
                 "Failed to find device with ecid 00000000000000AB after 0 seconds");
}

} // namespace
