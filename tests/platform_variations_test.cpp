/// Whole runs over a platform that behaves as a real one may: it calls back inside its calls, late,
/// on several threads at once, and under other handles.

#include "tests/file_content.h"
#include "tests/temporary_folder.h"
#include "tests/tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace vandrel::testing;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;

constexpr auto some_ecid = "00000000000000AB";

dictionary status(int operation, int progress) {
    return {{"Status", "Restoring"}, {"Operation", operation}, {"Progress", progress}};
}

dictionary report(const dictionary& content, double after = 0) {
    return {{"After", after}, {"Report", content}};
}

plist_value status_record(dictionary content, const std::string& name = "") {
    if (!name.empty()) {
        content.emplace("Orv_OperationName", name);
    }
    return dictionary{{"Type", "RestoreStatus"}, {"Value", content}};
}

plist_value device_list(const array& ecids) {
    return dictionary{{"Type", "DeviceList"}, {"Value", ecids}};
}

/// What happens to the device during each call of a function.
dictionary event_during(const std::string& call, const std::string& type,
                        const dictionary& more = {}) {
    dictionary result{{"During", call}, {"Device", some_ecid}, {"Type", type}};
    result.insert(more.begin(), more.end());
    return result;
}

/// Inside the registration, so that it has happened whatever time the tool takes.
dictionary first_event(const std::string& type, const dictionary& more = {}) {
    return event_during("AMRestorableDeviceRegisterForNotifications", type, more);
}

dictionary event(double at, const std::string& type, const dictionary& more = {}) {
    dictionary result{{"At", at}, {"Device", some_ecid}, {"Type", type}};
    result.insert(more.begin(), more.end());
    return result;
}

/// One device, whose restore is `restore`.
dictionary restoring(const dictionary& restore) {
    return {{"Devices", array{recovery_device(some_ecid, {{"Restore", restore}})}}};
}

dictionary attached(const array& events) {
    return {{"Devices", array{recovery_device(some_ecid)}}, {"Events", events}};
}

tool_call command(std::vector<std::string> arguments, const dictionary& scenario) {
    arguments.insert(arguments.end(), {"--ecid", some_ecid});
    return tool_call(arguments).scenario(scenario);
}

tool_call list(const dictionary& scenario) {
    return tool_call({"--list-devices", "--detect-timeout", "0", "--debug"}).scenario(scenario);
}

/// The arguments of the first call of a function.
plist_value arguments_of(const tool_run& run, const std::string& call) {
    const auto found = std::ranges::find_if(run.journal, [&call](const plist_value& entry) {
        return entry.at("Call") == plist_value(call);
    });
    return found == run.journal.end() ? plist_value("not called") : found->at("Arguments");
}

/// The position of the first diagnostic with `text`; the number of diagnostics if there is none.
std::ptrdiff_t position_of(const tool_run& run, const std::string& text) {
    const auto found = std::ranges::find_if(run.diagnostics, [&text](const std::string& line) {
        return line.find(text) != std::string::npos;
    });
    return found - run.diagnostics.begin();
}

// --- inside the calls

TEST(platform_variations, a_device_that_connects_inside_the_registration_is_there_at_once) {
    const auto scenario =
        attached({event_during("AMRestorableDeviceRegisterForNotifications", "connected")});
    const tool_run run = command({"--no-exit-recovery", "--detect-timeout", "0"}, scenario).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.calls("AMRecoveryModeDeviceSetAutoBoot"), 1);
}

TEST(platform_variations, a_device_that_connects_inside_the_unregistration_is_ignored) {
    const tool_run run =
        list(attached({event_during("AMRestorableDeviceUnregisterForNotifications", "connected")}))
            .run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(device_list({})));
    EXPECT_THAT(run.diagnostics, Contains(EndsWith(": Ignoring notification, inTeardown")));
}

TEST(platform_variations, a_completion_inside_the_restore_call_is_not_lost) {
    const auto scenario =
        restoring({{"Reports", array{report(status(13, 1)), report(status(0, 100))}},
                   {"ReportsInsideCall", 2}});
    const tool_run run = command({"--restore", "x.ipsw", "--restore-timeout", "1"}, scenario).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(status_record(status(13, 1), "Restoring image"),
                                         status_record(status(0, 100))));
}

TEST(platform_variations, a_boot_inside_the_restore_call_completes_the_way_into_restore_mode) {
    const auto scenario =
        restoring({{"Reports", array{report(status(9, 0))}}, {"ReportsInsideCall", 1}});
    const tool_run run =
        command({"--restore", "x.ipsw", "--enter-restore-mode", "--restore-timeout", "1"}, scenario)
            .run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(status_record(status(9, 0), "Booting")));
}

TEST(platform_variations, a_restore_call_that_returns_late_is_waited_for) {
    const auto scenario = restoring(
        {{"Reports", array{report(status(13, 1)), report(status(0, 100))}}, {"CallTakes", 1.5}});
    const tool_run run = command({"--restore", "x.ipsw", "--restore-timeout", "1"}, scenario).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(status_record(status(13, 1), "Restoring image"),
                                         status_record(status(0, 100))));
}

// The device goes inside each call, so what was logged before "Removing" was logged before the
// call.
TEST(platform_variations, each_call_of_a_recovery_command_is_explained_before_it_is_made) {
    for (const auto& [call, explained] :
         {std::pair("AMRecoveryModeDeviceSetAutoBoot", "AMRecoveryModeDeviceSetAutoBoot(true)"),
          std::pair("AMRecoveryModeDeviceReboot", "AMRecoveryModeDeviceReboot()")}) {
        const auto scenario = attached({event(0, "connected"), event_during(call, "disconnected")});
        const tool_run run = command({"--exit-recovery", "--debug"}, scenario).run();
        EXPECT_EQ(run.status, 0);
        EXPECT_LT(position_of(run, explained), position_of(run, ": Removing")) << call;
        EXPECT_LT(position_of(run, ": Removing"), std::ssize(run.diagnostics)) << call;
    }
    const auto scenario = attached(
        {event(0, "connected"), event_during("AMRecoveryModeDeviceSetAutoBoot", "disconnected")});
    const tool_run run = command({"--no-exit-recovery", "--debug"}, scenario).run();
    EXPECT_LT(position_of(run, "AMRecoveryModeDeviceSetAutoBoot(false)"),
              position_of(run, ": Removing"));
    EXPECT_LT(position_of(run, ": Removing"), std::ssize(run.diagnostics));
}

// --- the end of notifications

TEST(platform_variations, an_unregistration_may_wait_for_its_callbacks) {
    array events;
    for (int i = 0; i < 20'000; ++i) {
        events.emplace_back(event(i * 0.0001, i % 2 == 0 ? "connected" : "disconnected"));
    }
    dictionary scenario = attached(events);
    scenario["UnregistrationWaits"] = true;
    const tool_run run =
        tool_call({"--list-devices", "--detect-timeout", "1"}).scenario(scenario).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.standard_error, "");
    EXPECT_EQ(run.calls("AMRestorableDeviceUnregisterForNotifications"), 1);
}

TEST(platform_variations, notifications_while_an_unregistration_takes_long_are_ignored) {
    dictionary scenario = attached({event_during("AMRestorableDeviceUnregisterForNotifications",
                                                 "connected", {{"Threads", 4}})});
    scenario["UnregistrationTakes"] = 0.5;
    const tool_run run = list(scenario).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(std::ranges::count_if(run.diagnostics,
                                    [](const std::string& line) {
                                        return line.ends_with(
                                            ": Ignoring notification, inTeardown");
                                    }),
              4);
}

// --- reports after the one that completes

class late_report : public ::testing::TestWithParam<double> {};

// Inside the call, so that the tool certainly still runs when the report comes.
TEST_P(late_report, makes_a_record_and_changes_nothing_else) {
    const std::vector<std::pair<std::vector<std::string>, dictionary>> commands = {
        {{"--restore", "x.ipsw"}, status(0, 100)},
        {{"--restore", "x.ipsw", "--enter-restore-mode"}, status(9, 0)}};
    for (const auto& [arguments, completing] : commands) {
        const auto scenario =
            restoring({{"Reports", array{report(completing), report(status(13, 1), GetParam())}},
                       {"ReportsInsideCall", 2}});
        const tool_run run = command(arguments, scenario).run();
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.standard_error, "");
        ASSERT_EQ(run.records.size(), 2U);
        EXPECT_EQ(run.records[1], status_record(status(13, 1), "Restoring image"));
    }
}

// Both while the tool unregisters and after its end.
TEST_P(late_report, may_come_while_the_tool_ends) {
    array reports{report(status(0, 100))};
    for (int i = 0; i < 20; ++i) {
        reports.emplace_back(report(status(13, i), GetParam()));
    }
    dictionary scenario = restoring({{"Reports", reports}});
    scenario["UnregistrationTakes"] = 0.05;
    const tool_run run = command({"--restore", "x.ipsw"}, scenario).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.standard_error, "");
    ASSERT_FALSE(run.records.empty());
    EXPECT_EQ(run.records.front(), status_record(status(0, 100)));
}

INSTANTIATE_TEST_SUITE_P(platform_variations, late_report, ::testing::Values(0, 0.01),
                         [](const auto& instance) {
                             return instance.param == 0 ? "at_once" : "after_10_milliseconds";
                         });

TEST(platform_variations, a_second_completion_ends_the_process) {
    const std::vector<std::pair<std::vector<std::string>, dictionary>> commands = {
        {{"--restore", "x.ipsw"}, status(0, 100)},
        {{"--restore", "x.ipsw", "--enter-restore-mode"}, status(9, 0)}};
    for (const auto& [arguments, completing] : commands) {
        dictionary scenario =
            restoring({{"Reports", array{report(completing), report(completing, 0.01)}}});
        // Longer than a test may take: nothing else ends the tool.
        scenario["UnregistrationTakes"] = 3600;
        running_tool tool = command(arguments, scenario).start();
        const tool_run run = tool.wait();
        EXPECT_NE(run.status, 0);
        EXPECT_THAT(run.standard_error, HasSubstr("terminate called"));
    }
}

// An exception that left the tool's callback would pass through the platform's call back into the
// tool, which would handle it as an error of the command.
TEST(platform_variations, a_second_completion_inside_the_restore_call_ends_the_process) {
    const auto scenario =
        restoring({{"Reports", array{report(status(0, 100)), report(status(0, 100))}},
                   {"ReportsInsideCall", 2}});
    running_tool tool = command({"--restore", "x.ipsw"}, scenario).start();
    const tool_run run = tool.wait();
    EXPECT_THAT(run.standard_error, HasSubstr("terminate called"));
    EXPECT_THAT(run.records,
                ::testing::Not(Contains(::testing::Truly([](const plist_value& record) {
                    return record.at("Type") == plist_value("InternalError");
                }))));
}

// --- subscriptions and registrations that fail

TEST(platform_variations,
     the_first_subscription_asks_for_usb_devices_with_a_callback_and_no_context) {
    const tool_run run = list(attached({})).run();
    EXPECT_EQ(
        arguments_of(run, "AMDeviceNotificationSubscribe"),
        plist_value(dictionary{
            {"ConnectionType", 1}, {"HasCallback", true}, {"HasContext", false}, {"Unused", 0}}));
    EXPECT_EQ(arguments_of(run, "AMDeviceNotificationUnsubscribe"),
              plist_value(dictionary{{"HasSubscription", true}}));
}

TEST(platform_variations, a_first_subscription_that_fails_and_leaves_nothing_changes_nothing) {
    dictionary scenario = attached({first_event("connected")});
    scenario["SubscriptionResult"] = 5;
    const tool_run run = list(scenario).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(device_list({some_ecid})));
    EXPECT_EQ(arguments_of(run, "AMDeviceNotificationUnsubscribe"),
              plist_value(dictionary{{"HasSubscription", false}}));
}

TEST(platform_variations, an_error_without_user_information_is_its_domain_and_its_code) {
    dictionary scenario = attached({});
    scenario["RegistrationError"] = dictionary{{"Domain", "com.example.usb"}, {"Code", 2}};
    const tool_run run = list(scenario).run();
    const plist_value record =
        dictionary{{"Type", "InternalError"},
                   {"Value", dictionary{{"Code", 2}, {"Domain", "com.example.usb"}}}};
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.records, ElementsAre(record, record));
}

// --- threads and handles

TEST(platform_variations, notifications_of_one_device_may_come_on_several_threads_at_once) {
    array events;
    for (int i = 0; i < 40; ++i) {
        events.emplace_back(
            first_event(i % 2 == 0 ? "connected" : "disconnected", {{"Threads", 8}}));
    }
    events.emplace_back(first_event("connected", {{"Threads", 2}}));
    const tool_run run = list(attached(events)).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(device_list({some_ecid})));
    EXPECT_EQ(run.calls("AMRestorableDeviceGetState"), 40 * 8 + 2);
}

TEST(platform_variations, a_device_may_leave_under_another_handle_than_it_came) {
    const tool_run run = list(attached({first_event("connected"),
                                        first_event("disconnected", {{"NewHandle", true}})}))
                             .run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(device_list({})));
    // Otherwise the test would pass without the events.
    EXPECT_THAT(run.diagnostics, Contains(EndsWith(": Removing '00000000000000AB'")));
}

TEST(platform_variations, a_device_may_come_again_under_another_handle) {
    const tool_run run =
        list(attached({first_event("connected"), first_event("connected", {{"NewHandle", true}}),
                       first_event("connected", {{"NewHandle", true}})}))
            .run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(device_list({some_ecid})));
}

TEST(platform_variations, a_device_that_comes_again_during_its_restore_is_restored_to_the_end) {
    dictionary scenario =
        restoring({{"Reports", array{report(status(13, 1)), report(status(0, 100), 0.2)}}});
    scenario["Events"] =
        array{event(0, "connected"), event_during("AMRestorableDeviceRestore", "disconnected"),
              dictionary{{"During", "AMRestorableDeviceRestore"},
                         {"Device", some_ecid},
                         {"Type", "connected"},
                         {"NewHandle", true}}};
    const tool_run run = command({"--restore", "x.ipsw"}, scenario).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(status_record(status(13, 1), "Restoring image"),
                                         status_record(status(0, 100))));
}

// --- waiting

TEST(platform_variations, a_device_that_comes_wakes_a_tool_that_already_waits) {
    const temporary_folder folder;
    const auto signal = folder.path() / "now";
    const auto scenario = attached({event(0, "connected", {{"AwaitFile", signal.string()}})});
    running_tool tool =
        command({"--no-exit-recovery", "--detect-timeout", "3600", "--debug"}, scenario).start();
    tool.wait_for_error_text("Waiting for device");
    write_file(signal, "");
    const tool_run run = tool.wait();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.calls("AMRecoveryModeDeviceSetAutoBoot"), 1);
}

} // namespace
