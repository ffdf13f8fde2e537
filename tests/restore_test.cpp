/// `--restore` and `--enter-restore-mode`, from the options to the last report.

#include "tests/tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace {

using namespace vandrel::testing;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::StartsWith;

constexpr auto some_ecid = "00000000000000AB";

dictionary status(int operation, int progress) {
    return {{"Status", "Restoring"}, {"Operation", operation}, {"Progress", progress}};
}

dictionary step(const plist_value& report, double after = 0) {
    return {{"After", after}, {"Report", report}};
}

const dictionary last_step = step(status(0, 100));

/// One device, whose restore makes these reports.
dictionary restoring(const array& reports, const dictionary& more = {}) {
    dictionary device{{"Restore", dictionary{{"Reports", reports}}}};
    device.insert(more.begin(), more.end());
    return {{"Devices", array{recovery_device(some_ecid, device)}}};
}

/// The record of a report, which carries the operation's name unless that is empty.
plist_value status_record(dictionary report, const std::string& name) {
    if (!name.empty()) {
        report.emplace("Orv_OperationName", name);
    }
    return dictionary{{"Type", "RestoreStatus"}, {"Value", report}};
}

const plist_value last_record = status_record(status(0, 100), "");

tool_call restore(const dictionary& scenario, const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments{"--restore", "x.ipsw", "--ecid", some_ecid};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return tool_call(arguments).scenario(scenario);
}

plist_value timeout_record(const std::string& seconds) {
    return tool_error_record(7, "Restore did not complete before timeout expired",
                             "Aborting, restore did not complete in " + seconds + " seconds");
}

// --- a whole restore

TEST(restore, the_built_in_device_is_restored_to_the_end) {
    const tool_run run =
        tool_call({"--restore", "example.ipsw", "--ecid", "0001A2B3C4D5E6F7"}).speed(20).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.standard_error, "");
    ASSERT_EQ(run.records.size(), 41U);
    for (const plist_value& record : run.records) {
        EXPECT_EQ(record.at("Type"), plist_value("RestoreStatus"));
        EXPECT_EQ(record.at("Value").has("Orv_OperationName"),
                  record.at("Value").at("Operation") != plist_value(0));
    }
    EXPECT_EQ(run.records.front(), status_record(status(201, 0), "Unzipping IPSW"));
    EXPECT_EQ(run.records.back().at("Value"),
              plist_value(dictionary{
                  {"Error", 0}, {"Operation", 0}, {"Progress", 100}, {"Status", "Successful"}}));
}

TEST(restore, the_record_of_a_report_is_one_document_and_a_line_feed) {
    const tool_run run = restore(restoring({step(status(17, 5)), last_step})).run();
    EXPECT_EQ(run.documents.front(), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                     "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                     "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                     "<plist version=\"1.0\">\n"
                                     "<dict>\n"
                                     "\t<key>Type</key>\n"
                                     "\t<string>RestoreStatus</string>\n"
                                     "\t<key>Value</key>\n"
                                     "\t<dict>\n"
                                     "\t\t<key>Operation</key>\n"
                                     "\t\t<integer>17</integer>\n"
                                     "\t\t<key>Orv_OperationName</key>\n"
                                     "\t\t<string>Fixing up /var</string>\n"
                                     "\t\t<key>Progress</key>\n"
                                     "\t\t<integer>5</integer>\n"
                                     "\t\t<key>Status</key>\n"
                                     "\t\t<string>Restoring</string>\n"
                                     "\t</dict>\n"
                                     "</dict>\n"
                                     "</plist>\n");
}

TEST(restore, with_debug_every_step_is_explained) {
    const tool_run run = restore(restoring({step(status(9, 40)), last_step}), {"--debug"}).run();
    const std::string session = "__cdecl vandrel::device_notifier_state::";
    const std::string completion = "int " + session + "waitForCompletion(void): ";
    const std::string waiting = "class std::shared_ptr<struct _AMRestorableDevice> " + session +
                                "waitForDevice(const class Orv::ecid &): ";
    const std::string report = "void " + session +
                               "restoreCallback(struct _AMRestorableDevice *,"
                               "const struct __CFDictionary *,void *): ";
    EXPECT_EQ(run.status, 0);
    // The device may or may not be present when the command starts to wait.
    auto diagnostics = run.diagnostics;
    std::erase(diagnostics, waiting + "Waiting for device '00000000000000AB'");
    const auto adding = std::ranges::find_if(diagnostics, [](const std::string& line) {
        return line.find(": Adding '00000000000000AB' (0x") != std::string::npos;
    });
    ASSERT_NE(adding, diagnostics.end());
    diagnostics.erase(adding);
    EXPECT_THAT(diagnostics,
                ElementsAre(EndsWith(": initializing"),
                            completion + "AMRestorableDeviceRegisterForNotifications()",
                            waiting + "Looking for device '00000000000000AB'",
                            report + "status Restoring, operation Booting, progress 40",
                            report + "status Restoring, operation Unknown operation 0, "
                                     "progress 100",
                            report + "Notifying restore complete",
                            completion + "AMRestorableDeviceUnregisterForNotifications()"));
}

TEST(restore, no_cleanup_is_accepted_and_the_scratch_folder_is_still_removed) {
    const tool_run run = restore(restoring({last_step}), {"--no-cleanup"}).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(last_record));
}

// --- finding the device

TEST(restore, a_device_that_is_not_there_is_a_bad_ecid) {
    const tool_run run = restore({{"Devices", array{recovery_device("00000000000000CD")}}},
                                 {"--detect-timeout", "1"})
                             .run();
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.records,
                ElementsAre(tool_error_record(
                    4, "Bad ECID specified",
                    "Failed to find device with ecid 00000000000000AB after 1 seconds")));
    EXPECT_EQ(run.calls("AMRestorableDeviceRestore"), 0);
    // An error leaves the registration in place.
    EXPECT_EQ(run.calls("AMRestorableDeviceUnregisterForNotifications"), 0);
}

TEST(restore, without_a_detection_time_an_absent_device_is_not_waited_for) {
    const tool_run run = restore({{"Devices", array{}}}, {"--detect-timeout", "0"}).run();
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.records,
                ElementsAre(tool_error_record(
                    4, "Bad ECID specified",
                    "Failed to find device with ecid 00000000000000AB after 0 seconds")));
}

TEST(restore, the_ecid_zero_is_written_as_question_marks) {
    const tool_run run =
        tool_call({"--restore", "x.ipsw", "--ecid", "0000000000000000", "--detect-timeout", "0"})
            .run();
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.records,
                ElementsAre(tool_error_record(
                    4, "Bad ECID specified",
                    "Failed to find device with ecid ???????????????? after 0 seconds")));
}

TEST(restore, a_device_is_found_by_its_ecid_in_either_case) {
    const tool_run run = tool_call({"--restore", "x.ipsw", "--ecid", "00000000000000ab"})
                             .scenario(restoring({last_step}))
                             .run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(last_record));
}

TEST(restore, a_device_that_arrives_during_the_wait_is_restored) {
    dictionary scenario = restoring({last_step});
    scenario["Events"] =
        array{dictionary{{"At", 0.2}, {"Device", some_ecid}, {"Type", "connected"}}};
    // Waiting to the end of the detection time would outlast the test.
    const tool_run run = restore(scenario, {"--detect-timeout", "3600"}).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(last_record));
}

TEST(restore, the_device_may_be_in_any_state) {
    for (const char* state : {"Unknown", "DFU", "Recovery", "RestoreOS"}) {
        const tool_run run = restore(restoring({last_step}, {{"State", state}})).run();
        EXPECT_EQ(run.status, 0) << state;
        EXPECT_THAT(run.records, ElementsAre(last_record)) << state;
    }
}

TEST(restore, a_booted_device_is_never_found) {
    const tool_run run =
        restore(restoring({last_step}, {{"State", "BootedOS"}}), {"--detect-timeout", "1"}).run();
    EXPECT_EQ(run.status, 4);
}

// --- time runs out

TEST(restore, without_a_completing_report_there_is_a_timeout_record_and_status_0) {
    const tool_run run =
        restore(restoring({step(status(13, 1))}), {"--restore-timeout", "1"}).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records,
                ElementsAre(status_record(status(13, 1), "Restoring image"), timeout_record("1")));
    EXPECT_EQ(run.standard_error, "");
    EXPECT_EQ(run.calls("AMRestorableDeviceUnregisterForNotifications"), 1);
}

TEST(restore, no_time_at_all_is_a_timeout_at_once) {
    const tool_run run =
        restore(restoring({step(status(13, 1), 3600)}), {"--restore-timeout", "0"}).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(timeout_record("0")));
}

TEST(restore, reports_that_continue_after_the_timeout_change_nothing) {
    // Far more reports than fit into the second that the tool waits; the process ends among them.
    array reports;
    for (int count = 0; count < 4000; ++count) {
        reports.emplace_back(step(status(13, 1), 0.0005));
    }
    const tool_run run = restore(restoring(reports), {"--restore-timeout", "1"}).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.standard_error, "");
    EXPECT_EQ(std::ranges::count(run.records, timeout_record("1")), 1);
}

TEST(restore, a_call_that_fails_at_once_is_seen_as_a_timeout_only) {
    dictionary scenario{
        {"Devices", array{recovery_device(some_ecid, {{"Restore", dictionary{{"Result", 2}}}})}}};
    const tool_run run = restore(scenario, {"--restore-timeout", "1"}).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(timeout_record("1")));
}

TEST(restore, a_call_that_fails_and_reports_completion_is_complete) {
    dictionary scenario{
        {"Devices",
         array{recovery_device(
             some_ecid, {{"Restore", dictionary{{"Result", 2}, {"Reports", array{last_step}}}}})}}};
    const tool_run run = restore(scenario).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(last_record));
}

// --- reports

TEST(restore, only_operation_0_at_exactly_100_completes) {
    const tool_run run =
        restore(restoring({step(status(0, 99)), step(status(0, 101)), step(status(13, 100)),
                           step(status(9, 100)), last_step}))
            .run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records,
                ElementsAre(status_record(status(0, 99), ""), status_record(status(0, 101), ""),
                            status_record(status(13, 100), "Restoring image"),
                            status_record(status(9, 100), "Booting"), last_record));
}

TEST(restore, an_operation_without_a_name_is_unknown) {
    const tool_run run =
        restore(restoring({step(status(1, 0)), step(status(-7, 0)), last_step})).run();
    EXPECT_THAT(run.records, ElementsAre(status_record(status(1, 0), "Unknown"),
                                         status_record(status(-7, 0), "Unknown"), last_record));
}

TEST(restore, the_name_of_208_is_written_as_it_stands) {
    const tool_run run = restore(restoring({step(status(208, 0)), last_step})).run();
    EXPECT_EQ(run.records.front(), status_record(status(208, 0), "Waiting, position %d"));
}

TEST(restore, what_a_report_holds_beside_its_three_keys_is_passed_on) {
    dictionary report = status(13, 50);
    report["Details"] =
        dictionary{{"Flags", array{true, false, 1.5}},
                   {"Nonce", data{std::string("\x00\xFF\x10", 3)}},
                   {"Started", date{0}},
                   {"Text", "a < b & c > d, \xD0\xB9 \xE4\xB8\xAD \xF0\x9F\x93\xB1"}};
    const tool_run run = restore(restoring({step(report), last_step})).run();
    EXPECT_EQ(run.records.front(), status_record(report, "Restoring image"));
}

TEST(restore, a_name_that_the_report_brings_itself_is_replaced) {
    dictionary report = status(13, 50);
    report["Orv_OperationName"] = "its own";
    const tool_run run = restore(restoring({step(report), last_step})).run();
    EXPECT_EQ(run.records.front(), status_record(status(13, 50), "Restoring image"));
}

TEST(restore, invalid_reports_make_no_record_and_are_explained_with_debug) {
    const tool_run run =
        restore(restoring({step(dictionary{{"Status", "Restoring"}, {"Operation", 13}}),
                           step(dictionary{{"Status", "Restoring"}, {"Progress", 13}}),
                           step(dictionary{{"Operation", 13}, {"Progress", 13}}),
                           step(dictionary{{"Status", 1}, {"Operation", 13}, {"Progress", 13}}),
                           step("no dictionary"), dictionary{{"After", 0}}, last_step}),
                {"--debug"})
            .run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(last_record));
    const std::string callback = "void __cdecl vandrel::device_notifier_state::restoreCallback("
                                 "struct _AMRestorableDevice *,const struct __CFDictionary *,"
                                 "void *): ";
    EXPECT_EQ(std::ranges::count(run.diagnostics, callback + "Ignoring invalid statusDict"), 5);
    EXPECT_EQ(std::ranges::count(run.diagnostics, callback + "Invalid argument"), 1);
}

// --- entering restore mode

TEST(enter_restore_mode, the_first_report_of_booting_ends_the_wait_whatever_its_progress) {
    const tool_run run =
        restore(restoring({step(status(5, 0)), step(status(9, 3)), step(status(13, 0), 3600)}),
                {"--enter-restore-mode"})
            .run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(status_record(status(5, 0), "Sending ramdisk to device"),
                                         status_record(status(9, 3), "Booting")));
}

TEST(enter_restore_mode, only_operation_9_counts_as_booting) {
    const tool_run run =
        restore(restoring({step(status(204, 0)), step(status(9, 0))}), {"--enter-restore-mode"})
            .run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(status_record(status(204, 0), "Booting"),
                                         status_record(status(9, 0), "Booting")));
}

TEST(enter_restore_mode, the_end_of_the_restore_ends_the_wait_too) {
    const tool_run run = restore(restoring({last_step}), {"--enter-restore-mode"}).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(last_record));
}

// --- options

/// The options with which the restore was started.
dictionary options_of(const tool_run& run) {
    for (const plist_value& entry : run.journal) {
        if (entry.at("Call") == plist_value("AMRestorableDeviceRestore")) {
            return std::get<dictionary>(entry.at("Arguments").at("Options").value);
        }
    }
    ADD_FAILURE() << "no restore was started";
    return {};
}

/// The options that the platform receives if its own defaults are these.
dictionary options_given(const std::vector<std::string>& more, tool_run* whole = nullptr) {
    dictionary scenario = restoring({last_step});
    scenario["DefaultRestoreOptions"] = dictionary{{"BootImageType", "User"},
                                                   {"FlashNOR", true},
                                                   {"Nested", dictionary{{"Key", array{1, 2}}}}};
    const tool_run run = restore(scenario, more).run();
    if (whole != nullptr) {
        *whole = run;
    }
    return options_of(run);
}

plist_value bundle_path_given(const std::string& path) {
    return options_of(tool_call({"--restore", path, "--ecid", some_ecid})
                          .scenario(restoring({last_step}))
                          .run())
        .at("RestoreBundlePath");
}

TEST(restore_options, without_erase_the_device_is_updated) {
    const dictionary options = options_given({});
    EXPECT_EQ(options.at("AuthInstallRestoreBehavior"), plist_value("Update"));
    EXPECT_EQ(options.at("BootImageType"), plist_value("Update"));
}

TEST(restore_options, with_erase_the_device_is_erased) {
    const dictionary options = options_given({"--erase"});
    EXPECT_EQ(options.at("AuthInstallRestoreBehavior"), plist_value("Erase"));
    EXPECT_EQ(options.at("BootImageType"), plist_value("UserOrInternal"));
}

TEST(restore_options, four_keys_are_set_and_all_others_are_the_platforms_defaults) {
    for (const bool erase : {false, true}) {
        tool_run run;
        dictionary options = options_given(
            erase ? std::vector<std::string>{"--erase"} : std::vector<std::string>{}, &run);
        const auto personalized =
            std::get<std::string>(options.extract("PersonalizedRestoreBundlePath").mapped().value);
        EXPECT_EQ(options, (dictionary{{"AuthInstallRestoreBehavior", erase ? "Erase" : "Update"},
                                       {"BootImageType", erase ? "UserOrInternal" : "Update"},
                                       {"FlashNOR", true},
                                       {"Nested", dictionary{{"Key", array{1, 2}}}},
                                       {"RestoreBundlePath", "x.ipsw"}}));
        const char separator = static_cast<char>(std::filesystem::path::preferred_separator);
        EXPECT_THAT(personalized, StartsWith(run.temporary_folder + separator + "vandrel."));
        EXPECT_THAT(personalized, EndsWith(std::string(1, separator) + "PRB" + separator + "1"));
    }
}

TEST(restore_options, entering_restore_mode_uses_the_same_options) {
    EXPECT_EQ(options_given({"--enter-restore-mode", "--erase"}).at("BootImageType"),
              plist_value("UserOrInternal"));
}

TEST(restore_options, a_path_of_any_characters_arrives_unchanged) {
    const std::string path = "/tmp/\xD0\x9F\xD1\x80\xD0\xBE\xD0\xB1\xD0\xB0 "
                             "\xE6\x81\xA2\xE5\xA4\x8D \xF0\x9F\x93\xB1 a'b=c.ipsw";
    EXPECT_EQ(bundle_path_given(path), plist_value(path));
}

TEST(restore_options, a_path_of_more_than_260_characters_arrives_unchanged) {
    const std::string path = "/" + std::string(1'000, 'x') + "/firmware.ipsw";
    EXPECT_EQ(bundle_path_given(path), plist_value(path));
}

TEST(restore_options, a_platform_without_default_options_is_an_unknown_error) {
    dictionary scenario = restoring({last_step});
    scenario["DefaultRestoreOptions"] = false;
    const tool_run run = restore(scenario).run();
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.records, ElementsAre(tool_error_record(
                                 1, "Unknown error", "AMRestoreCreateDefaultOptions failed")));
    EXPECT_EQ(run.calls("AMRestorableDeviceRegisterForNotifications"), 0);
}

} // namespace
