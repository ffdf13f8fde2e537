/// Whole commands, in a process that counts the platform's objects.

#include "device/RestorableDeviceHandler.h"
#include "foundation/cf_text.h"
#include "simulator/core_foundation/accounting.h"
#include "simulator/mobile_device/simulation.h"
#include "tests/channel_capture.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <utility>

namespace {

using namespace vandrel;
using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::Not;
using vandrel::testing::channel_capture;

constexpr auto connected = notification_type::connected;
constexpr auto disconnected = notification_type::disconnected;

simulator::device_description recovery_device(std::uint64_t ecid) {
    simulator::device_description description;
    description.name = "a device";
    description.ecid = ecid;
    description.state = 2;
    return description;
}

/// A session for the device 0xAB, which is attached.
class session_command : public ::testing::Test {
protected:
    session_command() {
        session.targetEcid = Orv::ecid(std::uint64_t{0xAB});
        // A wait to the end would outlast the test's own time limit.
        session.detectTimeout = 3'600'000'000'000;
    }

    void TearDown() override { simulator::stop(); }

    /// Runs the command. The failure as "3: reason", or "none".
    std::string run(device_operation operation) {
        simulator::scenario scenario;
        scenario.devices.push_back(std::move(device));
        simulator::start(std::move(scenario));
        session.operation = operation;
        try {
            session.waitForCompletion();
        } catch (const cf_error_handle& error) {
            const cf_handle<CFStringRef> reason(CFErrorCopyFailureReason(error.get()));
            return fmt::format("{}: {}", CFErrorGetCode(error.get()),
                               cfstring_to_string(reason.get()));
        }
        return "none";
    }

    /// Lists without waiting for devices.
    void list() {
        session.detectTimeout = 0;
        EXPECT_EQ(run(device_operation::list_devices), "none");
    }

    void notify(_AMRestorableDevice* changed, notification_type type) {
        device_notifier_state::deviceNotificationCallback(changed, type, &session);
    }

    static std::int64_t recovery_devices() {
        return simulator::live_objects()["AMRecoveryModeDevice"];
    }

    simulator::device_description device = recovery_device(0xAB);
    channel_capture capture;
    device_notifier_state session{capture.channel(), std::nullopt, std::nullopt};
};

class recovery_command : public session_command {};
class device_info_command : public session_command {};

TEST_F(session_command, a_device_command_without_an_ecid_fails_before_any_wait) {
    session.operationName = "restore-plist";
    session.targetEcid.reset();
    EXPECT_EQ(run(device_operation::restore), "3: restore-plist command requires device ecid");
    EXPECT_THAT(capture.finish().diagnostics, Each(Not(HasSubstr("waitForDevice"))));
}

TEST_F(session_command, an_unknown_operation_is_an_internal_error) {
    EXPECT_EQ(run(device_operation{77}), "2: Internal error, missing operation");
}

TEST_F(session_command, an_unknown_operation_needs_a_device_all_the_same) {
    session.targetEcid = Orv::ecid(std::uint64_t{0xCD});
    session.detectTimeout = 0;
    EXPECT_EQ(run(device_operation{-1}),
              "4: Failed to find device with ecid 00000000000000CD after 0 seconds");
}

TEST_F(session_command, its_result_is_that_of_unregistering) {
    simulator::start({});
    session.detectTimeout = 0;
    EXPECT_EQ(session.waitForCompletion(), 0);
}

TEST_F(session_command, a_notification_after_the_teardown_never_reaches_the_table) {
    list();
    const cf_handle<_AMRestorableDevice*> other(simulator::create_device(recovery_device(0xCD)));
    notify(other.get(), connected);
    EXPECT_EQ(session.waitForDevice(Orv::ecid(std::uint64_t{0xCD})), nullptr);
    EXPECT_THAT(capture.finish().diagnostics,
                ::testing::Contains(::testing::EndsWith("Ignoring notification, inTeardown")));
}

TEST_F(session_command, a_device_that_disconnects_after_the_teardown_stays_in_the_table) {
    // The scenario's own device comes when it likes, and would take the place of one of its ECID.
    const cf_handle<_AMRestorableDevice*> other(simulator::create_device(recovery_device(0xCD)));
    notify(other.get(), connected);
    list();
    notify(other.get(), disconnected);
    EXPECT_EQ(session.waitForDevice(Orv::ecid(std::uint64_t{0xCD})).get(), other.get());
    EXPECT_THAT(capture.finish().diagnostics,
                ::testing::Contains(::testing::EndsWith("Ignoring notification, inTeardown")));
}

TEST_F(recovery_command, the_recovery_device_is_released_after_success) {
    EXPECT_EQ(run(device_operation::exit_recovery), "none");
    EXPECT_EQ(recovery_devices(), 0);
}

TEST_F(recovery_command, the_recovery_device_is_released_when_the_setting_is_refused) {
    device.set_auto_boot_result = 12;
    EXPECT_THAT(run(device_operation::no_exit_recovery), ::testing::StartsWith("6: "));
    EXPECT_EQ(recovery_devices(), 0);
}

TEST_F(recovery_command, the_recovery_device_is_released_when_the_reboot_is_refused) {
    device.reboot_result = 12;
    EXPECT_THAT(run(device_operation::exit_recovery), ::testing::StartsWith("6: "));
    EXPECT_EQ(recovery_devices(), 0);
}

TEST_F(device_info_command, the_record_is_written_and_released) {
    EXPECT_EQ(run(device_operation::device_info), "none");
    EXPECT_THAT(capture.finish().records, HasSubstr("<string>DeviceInfo</string>"));
}

} // namespace
