#include "device/RestorableDeviceHandler.h"
#include "simulator/core_foundation/accounting.h"
#include "simulator/mobile_device/simulation.h"
#include "tests/channel_capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <utility>

namespace {

using namespace vandrel;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using vandrel::testing::channel_capture;

class recovery_device : public ::testing::Test {
protected:
    recovery_device() {
        simulator::device_description description;
        description.name = "a device";
        description.state = 2;
        const cf_handle<_AMRestorableDevice*> restorable(
            simulator::create_device(std::move(description)));
        device.reset(AMRestorableDeviceCopyRecoveryModeDevice(restorable.get()));
    }

    channel_capture capture;
    device_notifier_state session{capture.channel(), std::nullopt, std::nullopt};
    cf_handle<_AMRecoveryModeDevice*> device;
};

TEST_F(recovery_device, that_is_null_breaks_a_rule) {
    session.operation = device_operation::exit_recovery;
    try {
        session.operateOnRecoveryDevice(nullptr);
        FAIL() << "nothing was thrown";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "device/RestorableDeviceHandler.cpp:269:  "
                     "void __cdecl vandrel::device_notifier_state::operateOnRecoveryDevice("
                     "struct _AMRecoveryModeDevice *) Assertion recoveryDevice != nullptr failed.");
    }
    EXPECT_EQ(capture.finish().records, "");
}

class other_commands : public recovery_device,
                       public ::testing::WithParamInterface<device_operation> {};

TEST_P(other_commands, leave_the_recovery_device_alone) {
    session.operation = GetParam();
    session.operateOnRecoveryDevice(device.get());
    const auto written = capture.finish();
    EXPECT_EQ(written.records, "");
    // Every call of the device is preceded by its line.
    EXPECT_THAT(written.diagnostics, ElementsAre(EndsWith(": initializing")));
}

INSTANTIATE_TEST_SUITE_P(recovery_device, other_commands,
                         ::testing::Values(device_operation::list_devices,
                                           device_operation::device_info, device_operation::restore,
                                           device_operation::enter_restore_mode,
                                           device_operation{77}));

// --- whole commands, in a process that counts the platform's objects

class whole_command : public ::testing::Test {
protected:
    whole_command() {
        session.targetEcid = Orv::ecid(std::uint64_t{0xAB});
        // A wait to the end would outlast the test's own time limit.
        session.detectTimeout = 3'600'000'000'000;
    }

    void TearDown() override { simulator::stop(); }

    /// Runs the command on a device that answers so; returns its error's code, or 0.
    CFIndex run(device_operation operation, std::int32_t auto_boot_result = 0,
                std::int32_t reboot_result = 0) {
        simulator::scenario scenario;
        simulator::device_description description;
        description.name = "a device";
        description.ecid = 0xAB;
        description.state = 2;
        description.set_auto_boot_result = auto_boot_result;
        description.reboot_result = reboot_result;
        scenario.devices.push_back(std::move(description));
        simulator::start(std::move(scenario));
        session.operation = operation;
        try {
            session.waitForCompletion();
        } catch (const cf_error_handle& error) {
            return CFErrorGetCode(error.get());
        }
        return 0;
    }

    static std::int64_t recovery_devices() {
        return simulator::live_objects()["AMRecoveryModeDevice"];
    }

    channel_capture capture;
    device_notifier_state session{capture.channel(), std::nullopt, std::nullopt};
};

class recovery_command : public whole_command {};
class device_info_command : public whole_command {};

TEST_F(recovery_command, gives_the_recovery_device_back_when_it_succeeds) {
    EXPECT_EQ(run(device_operation::exit_recovery), 0);
    EXPECT_EQ(recovery_devices(), 0);
}

TEST_F(recovery_command, gives_the_recovery_device_back_when_the_setting_is_refused) {
    EXPECT_EQ(run(device_operation::no_exit_recovery, 12), 6);
    EXPECT_EQ(recovery_devices(), 0);
}

TEST_F(recovery_command, gives_the_recovery_device_back_when_the_reboot_is_refused) {
    EXPECT_EQ(run(device_operation::exit_recovery, 0, 12), 6);
    EXPECT_EQ(recovery_devices(), 0);
}

TEST_F(device_info_command, keeps_nothing_of_its_record) {
    EXPECT_EQ(run(device_operation::device_info), 0);
    EXPECT_THAT(capture.finish().records, HasSubstr("<string>DeviceInfo</string>"));
}

} // namespace
