/// `--list-devices`, what the session logs while devices come and go, and registrations that fail.

#include "tests/temporary_folder.h"
#include "tests/tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>

namespace {

using namespace vandrel::testing;
using ::testing::ElementsAre;
using ::testing::EndsWith;

plist_value device_list(const array& ecids) {
    return dictionary{{"Type", "DeviceList"}, {"Value", ecids}};
}

/// A scenario of these devices, which all connect at once.
dictionary attached(const array& devices) {
    return dictionary{{"Devices", devices}};
}

dictionary event(double at, const std::string& device, const plist_value& type) {
    return dictionary{{"At", at}, {"Device", device}, {"Type", type}};
}

/// A scenario played ten times as fast: a second of the tool is ten of the scenario's.
tool_run list(const dictionary& scenario, std::vector<std::string> more = {}) {
    std::vector<std::string> arguments{"--list-devices", "--detect-timeout", "1"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return tool_call(arguments).scenario(scenario).speed(10).run();
}

TEST(list_devices, the_built_in_devices_are_in_ascending_unsigned_order) {
    // The booted device, the one without ECID and the one that comes after four seconds are absent.
    const tool_run run = tool_call({"--list-devices"}).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records,
                ElementsAre(device_list({"0001A2B3C4D5E6F7", "000A11B22C33D44E", "000C44D55E66F770",
                                         "000E77F88A99B00C", "8001A2B3C4D5E6F7"})));
    EXPECT_EQ(run.standard_error, "");
}

TEST(list_devices, a_late_arrival_is_listed_when_the_detection_time_allows) {
    const tool_run run = tool_call({"--list-devices", "--detect-timeout", "5"}).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(device_list({"00012345678ABCDE", "0001A2B3C4D5E6F7",
                                                      "000A11B22C33D44E", "000C44D55E66F770",
                                                      "000E77F88A99B00C", "8001A2B3C4D5E6F7"})));
}

TEST(list_devices, no_device_is_an_empty_array_after_the_full_detection_time) {
    const auto start = std::chrono::steady_clock::now();
    const tool_run run = list(attached({}));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.standard_output, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                   "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                   "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                   "<plist version=\"1.0\">\n"
                                   "<dict>\n"
                                   "\t<key>Type</key>\n"
                                   "\t<string>DeviceList</string>\n"
                                   "\t<key>Value</key>\n"
                                   "\t<array/>\n"
                                   "</dict>\n"
                                   "</plist>\n"
                                   "\n");
}

TEST(list_devices, a_detection_time_of_0_lists_at_once) {
    const tool_run run =
        tool_call({"--list-devices", "--detect-timeout", "0"}).scenario(attached({})).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(device_list({})));
}

TEST(list_devices, two_devices_that_differ_in_the_top_bit_are_listed_in_unsigned_order) {
    const tool_run run =
        list(attached({recovery_device("8000000000000001"), recovery_device("0000000000000001")}));
    EXPECT_THAT(run.records, ElementsAre(device_list({"0000000000000001", "8000000000000001"})));
}

TEST(list_devices, a_device_that_was_disconnected_is_absent) {
    const tool_run run = list({{"Devices", array{recovery_device("00000000000000AB")}},
                               {"Events", array{event(0, "00000000000000AB", "connected"),
                                                event(0.1, "00000000000000AB", "disconnected")}}});
    EXPECT_THAT(run.records, ElementsAre(device_list({})));
}

TEST(list_devices, a_device_that_came_back_under_its_ecid_is_listed_once) {
    const tool_run run =
        list({{"Devices", array{recovery_device("00000000000000AB", {{"Name", "before"}}),
                                recovery_device("00000000000000AB", {{"Name", "after"}})}}});
    EXPECT_THAT(run.records, ElementsAre(device_list({"00000000000000AB"})));
}

TEST(list_devices, a_list_takes_precedence_over_a_restore) {
    const tool_run run = list(attached({recovery_device("00000000000000AB")}),
                              {"--restore", "x.ipsw", "--exit-recovery", "--device-info"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(device_list({"00000000000000AB"})));
    EXPECT_EQ(run.calls("AMRestorableDeviceRestore"), 0);
}

TEST(list_devices, the_option_may_be_shortened) {
    const tool_run run = tool_call({"--list", "--detect=0"}).scenario(attached({})).run();
    EXPECT_THAT(run.records, ElementsAre(device_list({})));
}

TEST(list_devices, no_cleanup_is_accepted_and_changes_nothing) {
    const tool_run run = list(attached({}), {"--no-cleanup"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(device_list({})));
}

// --- the calls of the platform

TEST(list_devices, the_session_primes_registers_and_unregisters) {
    const tool_run run = list(attached({}));
    std::vector<std::string> calls;
    for (const plist_value& entry : run.journal) {
        calls.push_back(std::get<std::string>(entry.at("Call").value));
    }
    EXPECT_THAT(calls,
                ElementsAre("AMDeviceNotificationSubscribe", "AMDeviceNotificationUnsubscribe",
                            "AMRestorableDeviceRegisterForNotifications",
                            "AMRestorableDeviceUnregisterForNotifications"));
}

TEST(list_devices, with_debug_every_notification_is_explained) {
    const tool_run run =
        list({{"Devices", array{recovery_device("00000000000000AB"),
                                recovery_device("00000000000000CD", {{"State", "BootedOS"}}),
                                recovery_device("0000000000000000")}},
              {"Events", array{event(0, "00000000000000AB", "connected"),
                               event(0.1, "00000000000000CD", "connected"),
                               event(0.2, "0000000000000000", "disconnected"),
                               dictionary{{"At", 0.3}, {"Type", "connected"}},
                               event(0.4, "00000000000000AB", 7),
                               event(0.5, "00000000000000AB", "disconnected")}}},
             {"--debug"});
    const std::string notification =
        "void __cdecl vandrel::device_notifier_state::deviceNotificationCallback("
        "struct _AMRestorableDevice *,enum vandrel::notification_type,void *): ";
    const std::string completion =
        "int __cdecl vandrel::device_notifier_state::waitForCompletion(void): ";
    using ::testing::StartsWith;
    EXPECT_THAT(
        run.diagnostics,
        ElementsAre(
            EndsWith(": initializing"), completion + "AMRestorableDeviceRegisterForNotifications()",
            StartsWith(notification + "Adding '00000000000000AB' (0x"),
            notification + "Ignoring booted device",
            ::testing::AllOf(
                StartsWith(notification + "Ignoring AMRestorableDevice with invalid ECID (0x"),
                EndsWith(" type disconnected)")),
            notification + "called with null device",
            notification + "called with invalid notification type 7",
            notification + "Disconnected AMRestorableDevice, but '00000000000000AB' not "
                           "present",
            notification + "Removing '00000000000000AB'",
            completion + "AMRestorableDeviceUnregisterForNotifications()"));
}

// --- registration fails

TEST(registration_error, it_is_reported_twice_and_its_small_code_is_the_status) {
    const tool_run run =
        list({{"Devices", array{}},
              {"RegistrationError", dictionary{{"Domain", "com.example.usb"},
                                               {"Code", 3},
                                               {"Description", "USB is not available"},
                                               {"FailureReason", "The service is stopped"}}}});
    const plist_value record =
        dictionary{{"Type", "InternalError"},
                   {"Value", dictionary{{"Code", 3},
                                        {"Description", "USB is not available"},
                                        {"Domain", "com.example.usb"},
                                        {"FailureReason", "The service is stopped"}}}};
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.records, ElementsAre(record, record));
    EXPECT_EQ(run.calls("AMRestorableDeviceUnregisterForNotifications"), 0);
}

TEST(registration_error, a_code_above_8_is_status_1_and_texts_that_are_not_there_are_left_out) {
    const tool_run run =
        list({{"Devices", array{}},
              {"RegistrationError", dictionary{{"Domain", "com.example.usb"}, {"Code", 9}}}});
    const plist_value record =
        dictionary{{"Type", "InternalError"},
                   {"Value", dictionary{{"Code", 9}, {"Domain", "com.example.usb"}}}};
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.records, ElementsAre(record, record));
}

TEST(registration_error, a_code_of_more_than_32_bits_is_written_whole_and_its_low_bits_count) {
    const tool_run run =
        list({{"Devices", array{}},
              {"RegistrationError",
               dictionary{{"Domain", "com.example.usb"}, {"Code", std::int64_t{0x1'0000'0005}}}}});
    const plist_value record = dictionary{
        {"Type", "InternalError"},
        {"Value", dictionary{{"Code", std::int64_t{4294967301}}, {"Domain", "com.example.usb"}}}};
    EXPECT_EQ(run.status, 5);
    EXPECT_THAT(run.records, ElementsAre(record, record));
}

} // namespace
