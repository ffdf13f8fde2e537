#include "device/RestorableDeviceHandler.h"
#include "simulator/mobile_device/simulation.h"
#include "tests/channel_capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

namespace {

using namespace vandrel;
using ::testing::ElementsAre;
using ::testing::EndsWith;
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

TEST_F(recovery_device, that_is_null_is_a_broken_precondition) {
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

} // namespace
