#include "simulator/core_foundation/test_objects.h"
#include "simulator/mobile_device/scenario_file.h"
#include "simulator/mobile_device/test_temporary_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

namespace simulator {

namespace {

test::handle<CFTypeRef> plist(const std::string& xml) {
    const auto data = test::make_data("<plist version=\"1.0\">" + xml + "</plist>");
    test::handle<CFTypeRef> result(CFPropertyListCreateWithData(
        kCFAllocatorDefault, data.get(), kCFPropertyListImmutable, nullptr, nullptr));
    EXPECT_NE(result, nullptr) << xml;
    return result;
}

scenario parse(const std::string& xml) {
    return parse_scenario(plist(xml).get());
}

/// A scenario whose one device has `keys` besides those that it needs.
std::string with_device(const std::string& keys) {
    return "<dict><key>Devices</key><array><dict><key>Name</key><string>d</string>"
           "<key>ECID</key><string>0000000000000001</string>"
           "<key>State</key><string>DFU</string>" +
           keys + "</dict></array></dict>";
}

/// A scenario with two devices, "a" and "b", and the events `events`.
std::string with_events(const std::string& events) {
    return "<dict><key>Devices</key><array>"
           "<dict><key>Name</key><string>a</string><key>ECID</key><string>0000000000000001</string>"
           "<key>State</key><string>DFU</string></dict>"
           "<dict><key>Name</key><string>b</string><key>ECID</key><string>0000000000000002</string>"
           "<key>State</key><string>DFU</string></dict>"
           "</array><key>Events</key><array>" +
           events + "</array></dict>";
}

std::string error_text(const std::string& xml) {
    try {
        parse(xml);
    } catch (const scenario_error& error) {
        return error.what();
    }
    return "(none)";
}

std::string error_of_file(const std::string& path) {
    try {
        read_scenario(path);
    } catch (const scenario_error& error) {
        return error.what();
    }
    return "(none)";
}

} // namespace

TEST(scenario_file, can_be_empty) {
    const scenario result = parse("<dict/>");
    EXPECT_TRUE(result.devices.empty());
    EXPECT_EQ(result.events, std::nullopt);
    EXPECT_FALSE(result.registration_error.has_value());
    EXPECT_EQ(result.enable_file_logging_result, 0);
    ASSERT_NE(result.default_restore_options, nullptr);
    EXPECT_NE(CFDictionaryGetValue(result.default_restore_options.get(), CFSTR("BootImageType")),
              nullptr);
}

TEST(scenario_file, describes_every_property_of_a_device) {
    const scenario result = parse("<dict><key>Devices</key><array><dict>"
                                  "<key>Name</key><string>iPhone</string>"
                                  "<key>ECID</key><string>80ab00000000CDEF</string>"
                                  "<key>State</key><string>Recovery</string>"
                                  "<key>ProductID</key><integer>65535</integer>"
                                  "<key>BoardID</key><integer>4294967295</integer>"
                                  "<key>ChipID</key><integer>3</integer>"
                                  "<key>ProductType</key><integer>4</integer>"
                                  "<key>FusingInfo</key><integer>5</integer>"
                                  "<key>LocationID</key><integer>6</integer>"
                                  "<key>SerialNumber</key><string>S1</string>"
                                  "<key>ProductString</key><string>P1</string>"
                                  "<key>HasRecoveryDevice</key><false/>"
                                  "<key>SetAutoBootResult</key><integer>-7</integer>"
                                  "<key>RebootResult</key><integer>2147483647</integer>"
                                  "</dict></array></dict>");
    ASSERT_EQ(result.devices.size(), 1U);
    const device_description& device = result.devices[0];
    EXPECT_EQ(device.name, "iPhone");
    EXPECT_EQ(device.ecid, 0x80AB00000000CDEFU);
    EXPECT_EQ(device.state, 2U);
    EXPECT_EQ(device.product_id, 65535U);
    EXPECT_EQ(device.board_id, 4294967295U);
    EXPECT_EQ(device.chip_id, 3U);
    EXPECT_EQ(device.product_type, 4U);
    EXPECT_EQ(device.fusing_info, 5U);
    EXPECT_EQ(device.location_id, 6U);
    EXPECT_EQ(device.serial_number, "S1");
    EXPECT_EQ(device.product_string, "P1");
    EXPECT_FALSE(device.has_recovery_device);
    EXPECT_EQ(device.set_auto_boot_result, -7);
    EXPECT_EQ(device.reboot_result, 2147483647);
}

TEST(scenario_file, sets_missing_properties_of_a_device_to_zero_or_nothing) {
    const scenario result = parse(with_device(""));
    ASSERT_EQ(result.devices.size(), 1U);
    const device_description& device = result.devices[0];
    EXPECT_EQ(device.product_id, 0U);
    EXPECT_EQ(device.board_id, 0U);
    EXPECT_EQ(device.location_id, 0U);
    EXPECT_EQ(device.serial_number, std::nullopt);
    EXPECT_EQ(device.product_string, std::nullopt);
    EXPECT_TRUE(device.has_recovery_device);
    EXPECT_EQ(device.set_auto_boot_result, 0);
    EXPECT_EQ(device.reboot_result, 0);
    EXPECT_EQ(device.restore.result, 0);
    EXPECT_TRUE(device.restore.reports.empty());
}

TEST(scenario_file, accepts_a_state_as_a_word_or_a_number) {
    const auto state = [](const std::string& xml) {
        return parse("<dict><key>Devices</key><array><dict><key>Name</key><string>d</string>"
                     "<key>ECID</key><string>0000000000000001</string><key>State</key>" +
                     xml + "</dict></array></dict>")
            .devices.at(0)
            .state;
    };
    EXPECT_EQ(state("<string>Unknown</string>"), 0U);
    EXPECT_EQ(state("<string>DFU</string>"), 1U);
    EXPECT_EQ(state("<string>Recovery</string>"), 2U);
    EXPECT_EQ(state("<string>RestoreOS</string>"), 3U);
    EXPECT_EQ(state("<string>BootedOS</string>"), 4U);
    EXPECT_EQ(state("<integer>7</integer>"), 7U);
    EXPECT_EQ(state("<integer>4294967295</integer>"), 4294967295U);
}

TEST(scenario_file, sets_the_result_and_the_reports_of_a_restore) {
    const scenario result = parse(
        with_device("<key>Restore</key><dict><key>Result</key><integer>-1</integer>"
                    "<key>Reports</key><array>"
                    "<dict><key>After</key><integer>2</integer><key>Report</key>"
                    "<dict><key>Status</key><string>x</string></dict></dict>"
                    "<dict><key>After</key><real>0.25</real><key>Report</key><string>any</string>"
                    "</dict>"
                    "<dict><key>After</key><real>0</real></dict>"
                    "</array></dict>"));
    const restore_plan& plan = result.devices.at(0).restore;
    EXPECT_EQ(plan.result, -1);
    ASSERT_EQ(plan.reports.size(), 3U);
    EXPECT_EQ(plan.reports[0].after, 2);
    EXPECT_EQ(test::description_of(plan.reports[0].report.get()), "{Status = x}");
    EXPECT_EQ(plan.reports[1].after, 0.25);
    EXPECT_EQ(test::content_of(plan.reports[1].report.get()), "any");
    EXPECT_EQ(plan.reports[2].after, 0);
    EXPECT_EQ(plan.reports[2].report, nullptr);
}

TEST(scenario_file, can_make_a_restore_fail_without_reports) {
    const scenario result = parse(
        with_device("<key>Restore</key><dict><key>Result</key><integer>2001</integer></dict>"));
    EXPECT_EQ(result.devices.at(0).restore.result, 2001);
    EXPECT_TRUE(result.devices.at(0).restore.reports.empty());
}

TEST(scenario_file, finds_the_device_of_an_event_by_name) {
    const scenario result =
        parse(with_events("<dict><key>At</key><real>1.5</real><key>Device</key><string>b</string>"
                          "<key>Type</key><string>disconnected</string></dict>"
                          "<dict><key>At</key><integer>0</integer><key>Device</key>"
                          "<string>a</string><key>Type</key><string>connected</string></dict>"));
    ASSERT_TRUE(result.events.has_value());
    ASSERT_EQ(result.events->size(), 2U);
    EXPECT_EQ(result.events->at(0).at, 1.5);
    EXPECT_EQ(result.events->at(0).device, 1U);
    EXPECT_EQ(result.events->at(0).type, 1U);
    EXPECT_EQ(result.events->at(1).at, 0);
    EXPECT_EQ(result.events->at(1).device, 0U);
    EXPECT_EQ(result.events->at(1).type, 0U);
}

TEST(scenario_file, allows_an_event_without_a_device_and_of_any_type) {
    const scenario result = parse(with_events("<dict><key>At</key><integer>0</integer>"
                                              "<key>Type</key><integer>9</integer></dict>"));
    ASSERT_EQ(result.events.value().size(), 1U);
    EXPECT_EQ(result.events->at(0).device, std::nullopt);
    EXPECT_EQ(result.events->at(0).type, 9U);
}

TEST(scenario_file, distinguishes_an_empty_array_of_events_from_a_missing_one) {
    EXPECT_EQ(parse(with_events("")).events.value().size(), 0U);
}

TEST(scenario_file, can_make_registration_fail) {
    const scenario result =
        parse("<dict><key>RegistrationError</key><dict><key>Domain</key><string>d</string>"
              "<key>Code</key><integer>-402653052</integer>"
              "<key>Description</key><string>what</string>"
              "<key>FailureReason</key><string>why</string></dict></dict>");
    ASSERT_TRUE(result.registration_error.has_value());
    EXPECT_EQ(result.registration_error->domain, "d");
    EXPECT_EQ(result.registration_error->code, -402653052);
    EXPECT_EQ(result.registration_error->description, "what");
    EXPECT_EQ(result.registration_error->failure_reason, "why");
}

TEST(scenario_file, can_make_registration_fail_without_texts) {
    const scenario result =
        parse("<dict><key>RegistrationError</key><dict><key>Domain</key><string>d</string>"
              "<key>Code</key><integer>3</integer></dict></dict>");
    EXPECT_EQ(result.registration_error.value().description, std::nullopt);
    EXPECT_EQ(result.registration_error.value().failure_reason, std::nullopt);
}

TEST(scenario_file, sets_the_result_of_file_logging) {
    EXPECT_EQ(parse("<dict><key>EnableFileLoggingResult</key><integer>12</integer></dict>")
                  .enable_file_logging_result,
              12);
}

TEST(scenario_file, sets_the_default_restore_options) {
    const scenario result = parse("<dict><key>DefaultRestoreOptions</key><dict><key>Own</key>"
                                  "<true/></dict></dict>");
    ASSERT_NE(result.default_restore_options, nullptr);
    EXPECT_EQ(test::description_of(result.default_restore_options.get()), "{Own = true}");
}

TEST(scenario_file, can_remove_the_default_restore_options) {
    EXPECT_EQ(
        parse("<dict><key>DefaultRestoreOptions</key><false/></dict>").default_restore_options,
        nullptr);
}

TEST(scenario_file, sets_how_an_event_is_delivered) {
    const scenario result = parse(with_events(
        "<dict><key>At</key><integer>2</integer><key>Device</key><string>b</string>"
        "<key>Type</key><string>connected</string><key>AwaitFile</key><string>/go</string>"
        "<key>NewHandle</key><true/><key>Threads</key><integer>64</integer></dict>"
        "<dict><key>During</key><string>AMRestorableDeviceRestore</string>"
        "<key>Type</key><string>disconnected</string></dict>"));
    ASSERT_EQ(result.events->size(), 2U);
    const device_event& timed = result.events->at(0);
    EXPECT_EQ(timed.at, 2);
    EXPECT_EQ(timed.during, std::nullopt);
    EXPECT_EQ(timed.awaited_file, "/go");
    EXPECT_TRUE(timed.under_new_handle);
    EXPECT_EQ(timed.threads, 64U);
    const device_event& inside = result.events->at(1);
    EXPECT_EQ(inside.during, "AMRestorableDeviceRestore");
    EXPECT_EQ(inside.awaited_file, std::nullopt);
    EXPECT_FALSE(inside.under_new_handle);
    EXPECT_EQ(inside.threads, 1U);
}

TEST(scenario_file, sets_how_subscribing_and_unregistering_behave) {
    const scenario result = parse("<dict><key>SubscriptionResult</key><integer>-5</integer>"
                                  "<key>UnregistrationWaits</key><true/>"
                                  "<key>UnregistrationTakes</key><real>0.5</real></dict>");
    EXPECT_EQ(result.subscription_result, -5);
    EXPECT_TRUE(result.unregistration_waits);
    EXPECT_EQ(result.unregistration_takes, 0.5);
}

TEST(scenario_file, sets_what_happens_inside_a_restore_call) {
    const scenario result =
        parse(with_device("<key>Restore</key><dict><key>Reports</key><array>"
                          "<dict><key>After</key><integer>0</integer></dict></array>"
                          "<key>ReportsInsideCall</key><integer>1</integer>"
                          "<key>CallTakes</key><integer>3</integer></dict>"));
    EXPECT_EQ(result.devices[0].restore.reports_inside_call, 1U);
    EXPECT_EQ(result.devices[0].restore.call_takes, 3);
}

TEST(scenario_file, sets_how_a_restore_looks_on_a_bench) {
    const scenario result =
        parse(with_device("<key>Restore</key><dict><key>Away</key><array>"
                          "<dict><key>From</key><integer>1</integer>"
                          "<key>Until</key><real>2.5</real></dict></array></dict>"
                          "<key>LaterRestores</key><array><dict><key>ReturnsAfter</key>"
                          "<integer>60</integer></dict></array>"));
    const device_description& device = result.devices.at(0);
    ASSERT_EQ(device.restore.away.size(), 1U);
    EXPECT_EQ(device.restore.away[0].from, 1);
    EXPECT_EQ(device.restore.away[0].until, 2.5);
    EXPECT_EQ(device.restore.returns_after, std::nullopt);
    ASSERT_EQ(device.later_restores.size(), 1U);
    EXPECT_EQ(device.later_restores[0].returns_after, 60);
}

struct wrong {
    const char* name;
    std::string xml;
    const char* error_text;
};

class wrong_scenario : public ::testing::TestWithParam<wrong> {};

TEST_P(wrong_scenario, is_reported_with_its_place) {
    EXPECT_EQ(error_text(GetParam().xml), GetParam().error_text);
}

constexpr auto unknown_device_key =
    "Devices[0]: is a dictionary with the unknown key \"Ecid\"; should be one with no other keys "
    "than Name, ECID, State, ProductID, BoardID, ChipID, ProductType, FusingInfo, LocationID, "
    "SerialNumber, ProductString, HasRecoveryDevice, SetAutoBootResult, RebootResult, Restore or "
    "LaterRestores";

const std::string device_start = "<dict><key>Devices</key><array><dict><key>Name</key>"
                                 "<string>d</string><key>ECID</key>";
const std::string dfu_end = "<key>State</key><string>DFU</string></dict></array></dict>";

INSTANTIATE_TEST_SUITE_P(
    scenario_file, wrong_scenario,
    ::testing::Values(
        wrong{"no_dictionary", "<array/>", "top level: is an array; should be a dictionary"},
        wrong{"unknown_key", "<dict><key>devices</key><array/></dict>",
              "top level: is a dictionary with the unknown key \"devices\"; should be one with no "
              "other keys than Devices, Events, RegistrationError, SubscriptionResult, "
              "UnregistrationWaits, UnregistrationTakes, EnableFileLoggingResult or "
              "DefaultRestoreOptions"},
        wrong{"devices_of_the_wrong_type", "<dict><key>Devices</key><dict/></dict>",
              "Devices: is a dictionary; should be an array"},
        wrong{"device_of_the_wrong_type", "<dict><key>Devices</key><array><true/></array></dict>",
              "Devices[0]: is true; should be a dictionary"},
        wrong{"unknown_device_key", with_device("<key>Ecid</key><string>1</string>"),
              unknown_device_key},
        wrong{"missing_name", "<dict><key>Devices</key><array><dict/></array></dict>",
              "Devices[0].Name: is missing; should be a string"},
        wrong{"missing_ecid",
              "<dict><key>Devices</key><array><dict><key>Name</key><string>d</string>"
              "</dict></array></dict>",
              "Devices[0].ECID: is missing; should be a string of 16 hexadecimal digits"},
        wrong{"missing_state",
              device_start + "<string>0000000000000001</string></dict></array></dict>",
              "Devices[0].State: is missing; should be Unknown, DFU, Recovery, RestoreOS, BootedOS "
              "or a whole number from 0 to 4294967295"},
        wrong{"short_ecid", device_start + "<string>000000000000001</string>" + dfu_end,
              "Devices[0].ECID: is \"000000000000001\"; should be a string of 16 hexadecimal "
              "digits"},
        wrong{"long_ecid", device_start + "<string>00000000000000001</string>" + dfu_end,
              "Devices[0].ECID: is \"00000000000000001\"; should be a string of 16 hexadecimal "
              "digits"},
        wrong{"prefixed_ecid", device_start + "<string>0x00000000000001</string>" + dfu_end,
              "Devices[0].ECID: is \"0x00000000000001\"; should be a string of 16 hexadecimal "
              "digits"},
        wrong{"ecid_as_a_number", device_start + "<integer>12</integer>" + dfu_end,
              "Devices[0].ECID: is 12; should be a string of 16 hexadecimal digits"},
        wrong{"unknown_state",
              device_start + "<string>0000000000000001</string><key>State</key>"
                             "<string>dfu</string></dict></array></dict>",
              "Devices[0].State: is \"dfu\"; should be Unknown, DFU, Recovery, RestoreOS, BootedOS "
              "or a whole number from 0 to 4294967295"},
        wrong{"negative_state",
              device_start + "<string>0000000000000001</string><key>State</key>"
                             "<integer>-1</integer></dict></array></dict>",
              "Devices[0].State: is -1; should be Unknown, DFU, Recovery, RestoreOS, BootedOS "
              "or a whole number from 0 to 4294967295"},
        wrong{"big_product_id", with_device("<key>ProductID</key><integer>65536</integer>"),
              "Devices[0].ProductID: is 65536; should be a whole number from 0 to 65535"},
        wrong{"negative_board_id", with_device("<key>BoardID</key><integer>-1</integer>"),
              "Devices[0].BoardID: is -1; should be a whole number from 0 to 4294967295"},
        wrong{"big_chip_id", with_device("<key>ChipID</key><integer>4294967296</integer>"),
              "Devices[0].ChipID: is 4294967296; should be a whole number from 0 to 4294967295"},
        wrong{"fractional_product_type", with_device("<key>ProductType</key><real>1.5</real>"),
              "Devices[0].ProductType: is 1.5; should be a whole number from 0 to 4294967295"},
        wrong{"fusing_info_as_text", with_device("<key>FusingInfo</key><string>3</string>"),
              "Devices[0].FusingInfo: is \"3\"; should be a whole number from 0 to 4294967295"},
        wrong{"location_as_boolean", with_device("<key>LocationID</key><false/>"),
              "Devices[0].LocationID: is false; should be a whole number from 0 to 4294967295"},
        wrong{"serial_number_as_data", with_device("<key>SerialNumber</key><data></data>"),
              "Devices[0].SerialNumber: is data; should be a string"},
        wrong{"product_string_as_date",
              with_device("<key>ProductString</key><date>2001-01-01T00:00:00Z</date>"),
              "Devices[0].ProductString: is a date; should be a string"},
        wrong{"recovery_device_as_number",
              with_device("<key>HasRecoveryDevice</key><integer>1</integer>"),
              "Devices[0].HasRecoveryDevice: is 1; should be true or false"},
        wrong{"big_result", with_device("<key>RebootResult</key><integer>2147483648</integer>"),
              "Devices[0].RebootResult: is 2147483648; should be a whole number from -2147483648 "
              "to 2147483647"},
        wrong{"restore_of_the_wrong_type", with_device("<key>Restore</key><array/>"),
              "Devices[0].Restore: is an array; should be a dictionary"},
        wrong{"report_without_a_time",
              with_device("<key>Restore</key><dict><key>Reports</key><array><dict/></array>"
                          "</dict>"),
              "Devices[0].Restore.Reports[0].After: is missing; should be a number of seconds, "
              "zero or more"},
        wrong{"report_in_the_past",
              with_device("<key>Restore</key><dict><key>Reports</key><array><dict>"
                          "<key>After</key><real>-0.5</real></dict></array></dict>"),
              "Devices[0].Restore.Reports[0].After: is -0.5; should be a number of seconds, zero "
              "or more"},
        wrong{"unknown_report_key",
              with_device("<key>Restore</key><dict><key>Reports</key><array><dict>"
                          "<key>at</key><real>1</real></dict></array></dict>"),
              "Devices[0].Restore.Reports[0]: is a dictionary with the unknown key \"at\"; should "
              "be one with no other keys than After or Report"},
        wrong{"name_given_twice",
              "<dict><key>Devices</key><array>"
              "<dict><key>Name</key><string>a</string><key>ECID</key>"
              "<string>0000000000000001</string><key>State</key><integer>1</integer></dict>"
              "<dict><key>Name</key><string>a</string><key>ECID</key>"
              "<string>0000000000000002</string><key>State</key><integer>1</integer></dict>"
              "</array></dict>",
              "Devices[1].Name: is \"a\" once more; should be a name that no other device has"},
        wrong{"event_of_an_unknown_device",
              with_events("<dict><key>At</key><integer>0</integer><key>Device</key>"
                          "<string>c</string><key>Type</key><integer>0</integer></dict>"),
              "Events[0].Device: is \"c\"; should be the Name of one of the Devices"},
        wrong{"event_without_a_time",
              with_events("<dict><key>Type</key><integer>0</integer></dict>"),
              "Events[0].At: is missing; should be a number of seconds, zero or more"},
        wrong{"event_at_no_time",
              with_events("<dict><key>At</key><real>nan</real><key>Type</key>"
                          "<integer>0</integer></dict>"),
              "Events[0].At: is nan; should be a number of seconds, zero or more"},
        wrong{"event_without_a_type", with_events("<dict><key>At</key><integer>0</integer></dict>"),
              "Events[0].Type: is missing; should be connected, disconnected or a whole number "
              "from 0 to 4294967295"},
        wrong{"event_of_an_unknown_type",
              with_events("<dict><key>At</key><integer>0</integer><key>Type</key>"
                          "<string>attached</string></dict>"),
              "Events[0].Type: is \"attached\"; should be connected, disconnected or a whole "
              "number from 0 to 4294967295"},
        wrong{"registration_error_without_a_domain",
              "<dict><key>RegistrationError</key><dict><key>Code</key><integer>1</integer>"
              "</dict></dict>",
              "RegistrationError.Domain: is missing; should be a string"},
        wrong{"registration_error_without_a_code",
              "<dict><key>RegistrationError</key><dict><key>Domain</key><string>d</string>"
              "</dict></dict>",
              "RegistrationError.Code: is missing; should be a whole number"},
        wrong{"registration_error_with_a_code_beyond_64_signed_bits",
              "<dict><key>RegistrationError</key><dict><key>Domain</key><string>d</string>"
              "<key>Code</key><integer>9223372036854775808</integer></dict></dict>",
              "RegistrationError.Code: is 9223372036854775808; should be a whole number from "
              "-9223372036854775808 to 9223372036854775807"},
        wrong{"event_during_an_unknown_call",
              with_events("<dict><key>During</key><string>reboot</string><key>Type</key>"
                          "<integer>0</integer></dict>"),
              "Events[0].During: is \"reboot\"; should be "
              "AMRestorableDeviceRegisterForNotifications, "
              "AMRestorableDeviceUnregisterForNotifications, AMRestorableDeviceRestore, "
              "AMRecoveryModeDeviceSetAutoBoot or AMRecoveryModeDeviceReboot"},
        wrong{"event_during_a_call_at_a_time",
              with_events("<dict><key>During</key><string>AMRecoveryModeDeviceReboot</string>"
                          "<key>At</key><integer>1</integer><key>Type</key><integer>0</integer>"
                          "</dict>"),
              "Events[0].At: is 1; should be absent from an event with During"},
        wrong{"event_that_awaits_a_number",
              with_events("<dict><key>At</key><integer>0</integer><key>AwaitFile</key>"
                          "<integer>1</integer><key>Type</key><integer>0</integer></dict>"),
              "Events[0].AwaitFile: is 1; should be a string"},
        wrong{"event_under_a_handle_that_is_no_truth",
              with_events("<dict><key>At</key><integer>0</integer><key>NewHandle</key>"
                          "<integer>1</integer><key>Type</key><integer>0</integer></dict>"),
              "Events[0].NewHandle: is 1; should be true or false"},
        wrong{"event_on_no_thread",
              with_events("<dict><key>At</key><integer>0</integer><key>Threads</key>"
                          "<integer>0</integer><key>Type</key><integer>0</integer></dict>"),
              "Events[0].Threads: is 0; should be a whole number from 1 to 64"},
        wrong{"event_on_too_many_threads",
              with_events("<dict><key>At</key><integer>0</integer><key>Threads</key>"
                          "<integer>65</integer><key>Type</key><integer>0</integer></dict>"),
              "Events[0].Threads: is 65; should be a whole number from 1 to 64"},
        wrong{"more_reports_inside_the_call_than_there_are",
              with_device("<key>Restore</key><dict><key>ReportsInsideCall</key>"
                          "<integer>1</integer></dict>"),
              "Devices[0].Restore.ReportsInsideCall: is 1; should be a whole number from 0 to 0"},
        wrong{"restore_that_takes_no_time",
              with_device("<key>Restore</key><dict><key>CallTakes</key><real>-1</real></dict>"),
              "Devices[0].Restore.CallTakes: is -1; should be a number of seconds, zero or more"},
        wrong{"device_away_without_an_end",
              with_device("<key>Restore</key><dict><key>Away</key><array><dict><key>From</key>"
                          "<integer>1</integer></dict></array></dict>"),
              "Devices[0].Restore.Away[0].Until: is missing; should be a number of seconds, zero "
              "or more"},
        wrong{"device_that_returns_before_it_is_restored",
              with_device("<key>Restore</key><dict><key>ReturnsAfter</key><integer>-1</integer>"
                          "</dict>"),
              "Devices[0].Restore.ReturnsAfter: is -1; should be a number of seconds, zero or "
              "more"},
        wrong{"later_restore_of_the_wrong_type",
              with_device("<key>LaterRestores</key><array><true/></array>"),
              "Devices[0].LaterRestores[0]: is true; should be a dictionary"},
        wrong{"subscription_result_as_text",
              "<dict><key>SubscriptionResult</key><string>1</string></dict>",
              "SubscriptionResult: is \"1\"; should be a whole number from -2147483648 to "
              "2147483647"},
        wrong{"unregistration_that_waits_a_number",
              "<dict><key>UnregistrationWaits</key><integer>1</integer></dict>",
              "UnregistrationWaits: is 1; should be true or false"},
        wrong{"unregistration_that_takes_a_text",
              "<dict><key>UnregistrationTakes</key><string>long</string></dict>",
              "UnregistrationTakes: is \"long\"; should be a number of seconds, zero or more"},
        wrong{"default_options_true", "<dict><key>DefaultRestoreOptions</key><true/></dict>",
              "DefaultRestoreOptions: is true; should be a dictionary or false"}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST(scenario_file, is_reported_on_one_line) {
    const std::string text = error_text("<dict><key>a&#10;b&#127;</key><true/></dict>");
    EXPECT_EQ(text.substr(0, 54), "top level: is a dictionary with the unknown key \"a?b?\"");
}

TEST(scenario_file, is_reported_without_control_characters_beyond_ascii) {
    const std::string text =
        error_text("<dict><key>&#128;a&#159;b&#160;&#133;</key><true/></dict>");
    EXPECT_NE(text.find("the unknown key \"?a?b\xC2\xA0?\";"), std::string::npos) << text;
}

TEST(scenario_file, is_reported_with_a_shortened_value) {
    std::string euros;
    for (int i = 0; i < 30; ++i) {
        euros += "\xE2\x82\xAC";
    }
    EXPECT_EQ(error_text(with_device("<key>BoardID</key><string>a" + euros + "</string>")),
              "Devices[0].BoardID: is \"a" + euros.substr(0, 57) +
                  "...\"; should be a whole number from 0 to 4294967295");
}

TEST(scenario_file, is_read_from_disk) {
    const test::temporary_folder folder;
    const std::string path = folder / "scenario.plist";
    test::write_file(path, "<plist>" + with_device("") + "</plist>");
    EXPECT_EQ(read_scenario(path).devices.at(0).name, "d");
}

TEST(scenario_file, is_named_in_error_messages) {
    const test::temporary_folder folder;
    const std::string path = folder / "scenario.plist";
    test::write_file(path, "<plist><array/></plist>");
    EXPECT_EQ(error_of_file(path), path + ": top level: is an array; should be a dictionary");
}

TEST(scenario_file, must_exist) {
    const std::string text = error_of_file("no-such-folder/no-such-file.plist");
    EXPECT_TRUE(text.starts_with("no-such-folder/no-such-file.plist: file: is unreadable (No such "
                                 "file or directory)"))
        << text;
    EXPECT_TRUE(text.ends_with("; should be a file that can be read")) << text;
}

TEST(scenario_file, must_not_be_a_folder) {
    const std::string folder = std::filesystem::temp_directory_path().string();
    const std::string text = error_of_file(folder);
    EXPECT_TRUE(text.starts_with(folder + ": file: is unreadable (")) << text;
}

TEST(scenario_file, must_have_an_end_within_64_mebibytes) {
    const test::temporary_folder folder;
    const std::string path = folder / "scenario.plist";
    test::write_file(path, "");
    std::filesystem::resize_file(utf8_path(path), (64U << 20U) + 1);
    EXPECT_EQ(error_of_file(path),
              path + ": file: is larger than 64 MiB; should be a file of at most 64 MiB");
}

TEST(scenario_file, must_be_a_property_list) {
    const test::temporary_folder folder;
    const std::string path = folder / "scenario.plist";
    test::write_file(path, "Devices: none\n");
    const std::string text = error_of_file(path);
    EXPECT_TRUE(text.starts_with(path + ": file: is not a property list")) << text;
    EXPECT_TRUE(text.ends_with("; should be an XML or binary property list")) << text;
    EXPECT_EQ(std::ranges::count(text, '\n'), 0) << text;
}

TEST(scenario_file, must_not_be_empty) {
    const test::temporary_folder folder;
    const std::string path = folder / "scenario.plist";
    test::write_file(path, "");
    EXPECT_TRUE(error_of_file(path).starts_with(path + ": file: is not a property"));
}

} // namespace simulator
