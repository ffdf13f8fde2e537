/// A session by itself: what no whole run shows.

#include "device/RestorableDeviceHandler.h"
#include "driver/configure_session.h"
#include "driver/parse_arguments.h"
#include "driver/run_command.h"
#include "simulator/mobile_device/simulation.h"
#include "tests/channel_capture.h"
#include "tests/file_content.h"
#include "tests/plist_value.h"
#include "tests/temporary_folder.h"

#include <boost/program_options.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>

namespace {

using namespace vandrel;
using ::testing::Contains;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using vandrel::testing::channel_capture;

simulator::restore_report report(int operation, int progress) {
    auto content = simulator::cf_dictionary();
    simulator::cf_set_text(content.get(), "Status", "Restoring");
    simulator::cf_set_integer(content.get(), "Operation", operation);
    simulator::cf_set_integer(content.get(), "Progress", progress);
    return {0, std::move(content)};
}

simulator::scenario one_device(std::uint32_t state) {
    simulator::scenario result;
    simulator::device_description device;
    device.name = "a device";
    device.ecid = 0xAB;
    device.state = state;
    device.restore.reports.push_back(report(0, 100));
    result.devices.push_back(std::move(device));
    return result;
}

/// A session over a simulation with one device.
class session_of_one_device : public ::testing::Test {
public:
    ~session_of_one_device() override { simulator::stop(); }

protected:
    explicit session_of_one_device(std::uint32_t state = 2) {
        simulator::start(one_device(state), {journal(), 1});
        session.targetEcid = Orv::ecid(0xAB);
    }
    std::string journal() const { return (folder.path() / "journal").string(); }

    vandrel::testing::temporary_folder folder;
    channel_capture capture;
    device_notifier_state session{capture.channel(), std::nullopt, std::nullopt};
};

TEST_F(session_of_one_device, restores_twice) {
    session.operation = device_operation::restore;
    session.set_restore_bundle("x.ipsw", false);
    session.restoreTimeout = 60'000'000'000;
    session.restoreDevice(simulator::device_at(0));
    session.restoreDevice(simulator::device_at(0));
    const auto written = capture.finish();
    EXPECT_EQ(vandrel::testing::count_ending(written.diagnostics, ": Notifying restore complete"),
              2);
}

class session_of_a_dfu_device : public session_of_one_device {
protected:
    session_of_a_dfu_device() : session_of_one_device(1) {}
};

TEST_F(session_of_a_dfu_device, goes_on_with_notifications_after_a_command_that_failed) {
    session.operation = device_operation::exit_recovery;
    EXPECT_THROW(session.waitForCompletion(), cf_error_handle);
    device_notifier_state::deviceNotificationCallback(simulator::device_at(0),
                                                      notification_type::disconnected, &session);
    const auto written = capture.finish();
    EXPECT_THAT(written.diagnostics, Contains(EndsWith(": Removing '00000000000000AB'")));
    EXPECT_THAT(written.diagnostics, Not(Contains(HasSubstr("inTeardown"))));
}

TEST_F(session_of_one_device, does_nothing_to_a_recovery_device_for_another_command) {
    _AMRecoveryModeDevice* const device =
        AMRestorableDeviceCopyRecoveryModeDevice(simulator::device_at(0));
    const cf_handle<_AMRecoveryModeDevice*> owner(device);
    const std::string before = vandrel::testing::read_file(journal());
    for (const int operation : {0, 1, 4, 5, 6, -1}) {
        session.operation = device_operation{operation};
        session.operateOnRecoveryDevice(device);
    }
    EXPECT_EQ(vandrel::testing::read_file(journal()), before);
    const auto written = capture.finish();
    EXPECT_EQ(written.records, "");
    EXPECT_THAT(written.diagnostics, Not(Contains(HasSubstr("operateOnRecoveryDevice"))));
}

TEST_F(session_of_one_device, without_a_detection_time_does_not_block) {
    session.detectTimeout = 0;
    // One try of many has to be quick, however busy the machine is.
    auto shortest = std::chrono::nanoseconds::max();
    for (int attempt = 0; attempt < 50 && shortest >= std::chrono::seconds(1); ++attempt) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(session.waitForDevice(Orv::ecid(0xCD)), nullptr);
        shortest =
            std::min(shortest, std::chrono::nanoseconds(std::chrono::steady_clock::now() - start));
    }
    EXPECT_LT(shortest, std::chrono::seconds(1));
}

// --- the name of the command

struct named_command {
    const char* name;
    start_options options;
    const char* operation_name;
    device_operation operation;
};

class command_name : public ::testing::TestWithParam<named_command> {};

TEST_P(command_name, is_the_option_that_chose_the_command) {
    // Registration fails, so that nothing but the choice is made.
    simulator::scenario scenario;
    scenario.registration_error = {"domain", 1, std::nullopt, std::nullopt};
    simulator::start(std::move(scenario));
    const vandrel::testing::temporary_folder folder;
    start_options options = GetParam().options;
    if (options.restore_plist) {
        options.restore_plist = (folder.path() / "options.plist").string();
        vandrel::testing::write_file(*options.restore_plist,
                                     vandrel::testing::to_xml(vandrel::testing::dictionary{}));
    }
    channel_capture capture;
    {
        const auto session =
            std::make_shared<device_notifier_state>(capture.channel(), std::nullopt, std::nullopt);
        EXPECT_THROW(configure_session(options, session), cf_error_handle);
        EXPECT_EQ(session->operationName, GetParam().operation_name);
        EXPECT_EQ(session->operation, GetParam().operation);
    }
    simulator::stop();
}

start_options with(const std::function<void(start_options&)>& change) {
    start_options options;
    options.ecid = "00000000000000AB";
    change(options);
    return options;
}

INSTANTIATE_TEST_SUITE_P(
    session, command_name,
    ::testing::Values(named_command{"list_devices", with([](auto& o) {
                                        o.ecid.reset();
                                        o.list_devices = true;
                                    }),
                                    "list-devices", device_operation::list_devices},
                      named_command{"device_info", with([](auto& o) { o.device_info = true; }),
                                    "device-info", device_operation::device_info},
                      named_command{"exit_recovery", with([](auto& o) { o.exit_recovery = true; }),
                                    "exit-recovery", device_operation::exit_recovery},
                      named_command{"no_exit_recovery",
                                    with([](auto& o) { o.no_exit_recovery = true; }),
                                    "no-exit-recovery", device_operation::no_exit_recovery},
                      named_command{"restore", with([](auto& o) { o.restore = "x.ipsw"; }),
                                    "restore", device_operation::restore},
                      named_command{"restore_into_restore_mode", with([](auto& o) {
                                        o.restore = "x.ipsw";
                                        o.enter_restore_mode = true;
                                    }),
                                    "restore", device_operation::enter_restore_mode},
                      named_command{"restore_plist", with([](auto& o) { o.restore_plist = ""; }),
                                    "restore-plist", device_operation::restore},
                      named_command{"restore_plist_into_restore_mode", with([](auto& o) {
                                        o.restore_plist = "";
                                        o.enter_restore_mode = true;
                                    }),
                                    "restore-plist", device_operation::enter_restore_mode}),
    [](const auto& instance) { return std::string(instance.param.name); });

// --- exceptions of a command

/// An option whose description cannot be printed, because a text becomes too long.
struct unprintable_value : boost::program_options::untyped_value {
    unprintable_value() : untyped_value(false) {}
    std::string name() const override { throw std::length_error("too long"); }
};

TEST(run_command, a_length_error_of_a_command_is_an_unknown_error) {
    boost::program_options::options_description description;
    description.add_options()("option", new unprintable_value, "");
    start_options options;
    options.help = true;
    channel_capture capture;
    const int status = run_command(options, description, capture.channel());
    EXPECT_THAT(capture.finish().records, HasSubstr("<string>too long</string>"));
    EXPECT_EQ(status, 1);
}

} // namespace
