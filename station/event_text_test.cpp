#include "station/bundle.h"
#include "station/event_text.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace vandrel::station {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;

const operation_progress restoring_image{13, "Restoring image", 42};

/// "WORD: text", two minutes after the start of the run.
std::string said(event_body body) {
    event what;
    what.t = minutes(2);
    what.body = std::move(body);
    const event_text text = describe(what);
    return text.word + ": " + text.text;
}

TEST(event_text, of_a_run_says_what_it_does) {
    EXPECT_EQ(said(run_started{}), "run: restore");
    EXPECT_EQ(said(run_started{command::restore, true, true}),
              "run: restore and erase, and watch for more devices");
    EXPECT_EQ(said(run_started{command::recover_exit}), "run: leave Recovery mode");
    EXPECT_EQ(said(run_started{command::recover_stay}), "run: stay in Recovery mode");
}

// U+FFFD stands for what cannot be shown.
TEST(event_text, of_a_device_has_what_is_known_of_it) {
    EXPECT_EQ(said(device_found{}), "found: its properties are not known");
    device_properties known;
    known.product_string = "Phone\n";
    EXPECT_EQ(said(device_found{known}), "found: Phone\xEF\xBF\xBD");
    known.model = "iPhone14,2";
    known.serial_number = "F17Q";
    EXPECT_EQ(said(device_found{known}), "found: Phone\xEF\xBF\xBD, iPhone14,2, F17Q");
    known.product_string.clear();
    EXPECT_EQ(said(device_found{known}), "found: iPhone14,2, F17Q");
}

TEST(event_text, of_a_device_that_is_left_alone_says_why) {
    EXPECT_EQ(said(device_left_alone{end_reason::held, 4711}),
              "LEFT: another station works on it: process 4711");
    EXPECT_EQ(said(device_left_alone{end_reason::held, {}}), "LEFT: another station works on it");
    EXPECT_EQ(said(device_left_alone{end_reason::no_bundle, {}}),
              "LEFT: no bundle in the folder is for it");
}

TEST(event_text, of_a_try_has_its_bundle_if_it_has_one) {
    EXPECT_EQ(said(try_started{}), "started: ");
    bundle with;
    with.version = "17.1";
    with.build = "21B80";
    EXPECT_EQ(said(try_started{std::make_shared<const bundle>(with)}), "started: 17.1 (21B80)");
}

TEST(event_text, of_silence_says_how_long_it_lasts) {
    EXPECT_EQ(said(quiet{false, seconds(30)}), "QUIET: no report for 00:01:30");
    EXPECT_EQ(said(quiet{true, seconds(30)}), "QUIET: the restore has not begun for 00:01:30");
    EXPECT_EQ(said(quiet_over{}), "running: reports come again");
    EXPECT_EQ(said(clock_gap{minutes(61)}),
              "clock: the clock jumped by 01:01:00; silence is counted anew");
}

TEST(event_text, of_a_failing_restore_has_the_error_if_it_is_known) {
    EXPECT_EQ(said(failure_reported{restoring_image, "Failed", {}}),
              "FAILING: a failure in Restoring image at 42 %");
    EXPECT_EQ(said(failure_reported{restoring_image, "Failed", error_details{"", 14, ""}}),
              "FAILING: error 14 in Restoring image at 42 %");
}

TEST(event_text, of_a_warning_says_what_it_means) {
    const error_details some{"", 9, ""};
    EXPECT_EQ(said(warning{warning_kind::error_in_report, restoring_image, some, {}}),
              "WARNING: error 9 in Restoring image at 42 %; the restore goes on");
    EXPECT_EQ(said(warning{warning_kind::unreadable_record, {}, {}, {}}),
              "WARNING: a record cannot be read; the run's folder has it");
    EXPECT_EQ(said(warning{warning_kind::after_completion, {}, some, 1}),
              "WARNING: after the restore had completed: error 9");
    EXPECT_EQ(said(warning{warning_kind::after_completion, {}, {}, 1}),
              "WARNING: after the restore had completed: exit status 1");
    EXPECT_EQ(said(warning{warning_kind::after_completion, {}, {}, {}}),
              "WARNING: after the restore had completed: a failure was reported");
}

TEST(event_text, of_an_end_says_whether_it_is_tried_again_and_how_often_it_was) {
    try_ended one;
    one.state = final_state::stalled;
    one.reason = end_reason::silence;
    one.last_operation = restoring_image;
    EXPECT_EQ(said(one), "STALLED: no report came any more in Restoring image at 42 %");
    one.will_retry = true;
    EXPECT_EQ(
        said(one),
        "STALLED: no report came any more in Restoring image at 42 %; it will be tried again");
    EXPECT_EQ(said(device_ended{final_state::restored, end_reason::completed, 1, {}}),
              "restored: complete");
    EXPECT_EQ(said(device_ended{final_state::missing, end_reason::not_back, 2, {}}),
              "MISSING: it was to be tried again and did not come back, after 2 tries");
}

TEST(event_text, of_a_list_or_a_record_that_fails_says_why) {
    EXPECT_EQ(said(list_failed{list_failure::timed_out, ""}),
              "WARNING: no list of devices (timed_out)");
    EXPECT_EQ(said(list_failed{list_failure::not_started, "no such\x1B file"}),
              "WARNING: no list of devices (not_started): no such\xEF\xBF\xBD file");
    EXPECT_EQ(said(log_incomplete{"the disk is full"}),
              "WARNING: the run's record is incomplete: the disk is full");
    EXPECT_EQ(said(stopped_after{5}), "STOPPED: 5 failures in a row: no more devices are begun");
}

TEST(event_text, of_ctrl_c_says_what_the_next_one_does) {
    EXPECT_EQ(said(cancel{0, {}}), "CANCEL: the session ends");
    EXPECT_EQ(said(cancel{1, {}}),
              "CANCEL: no more devices are begun; press Ctrl-C again to end the "
              "running ones");
    EXPECT_EQ(said(cancel{2, {}}), "CANCEL: the running tools are ended");
    event_device one;
    one.ecid = "0A";
    one.slot = "A1";
    event_device other;
    other.ecid = "0B";
    EXPECT_EQ(said(cancel{2, {one, other}}), "CANCEL: A1 0A, - 0B write firmware and go on; press "
                                             "Ctrl-C within 10 seconds to end them too");
}

TEST(event_text, of_the_end_of_a_run_counts_those_that_were_restored) {
    counts totals;
    totals.chosen = 12;
    totals.restored = 11;
    EXPECT_EQ(said(run_ended{totals, 1}), "end: 11 of 12 restored, status 1");
}

TEST(error_text, has_the_code_the_domain_and_the_text_as_far_as_they_are_known) {
    EXPECT_EQ(describe(error_details{"", {}, ""}), "an error");
    EXPECT_EQ(describe(error_details{"", 4005, ""}), "error 4005");
    EXPECT_EQ(describe(error_details{"com.apple.MobileDevice", 21, "It broke."}),
              "error 21 (com.apple.MobileDevice): It broke.");
}

TEST(operation_text, has_the_number_of_an_operation_without_a_name) {
    EXPECT_EQ(describe(restoring_image), "Restoring image at 42 %");
    EXPECT_EQ(describe(operation_progress{14, "", 7}), "operation 14 at 7 %");
    EXPECT_EQ(describe(operation_progress{14, "Unknown", 7}), "operation 14 at 7 %");
}

TEST(end_text, has_what_is_known_of_the_last_try) {
    try_result last;
    last.last_operation = restoring_image;
    last.exit_status = 139;
    last.error = error_details{"", 4005, "no such file"};
    const std::vector<std::tuple<end_reason, std::string, std::string>> rows{
        {end_reason::device_error, "error 4005: no such file in Restoring image at 42 %",
         "a failure"},
        {end_reason::no_completion,
         "the tool ended without a completing report in Restoring image at 42 %",
         "the tool ended without a completing report"},
        {end_reason::tool_crashed,
         "the tool ended abnormally with status 139 in Restoring image at 42 %",
         "the tool ended abnormally"},
        {end_reason::tool_not_started, "the tool could not be started: no such file",
         "the tool could not be started"},
        {end_reason::time_limit, "the time limit has passed in Restoring image at 42 %",
         "the time limit has passed"},
        {end_reason::user, "cancelled in Restoring image at 42 %", "cancelled"},
        {end_reason::held, "another station works on it", "another station works on it"},
    };
    for (const auto& [reason, with, without] : rows) {
        EXPECT_EQ(describe_end(reason, &last), with);
        EXPECT_EQ(describe_end(reason, nullptr), without);
    }
}

TEST(advice, tells_a_person_what_to_do_next) {
    const std::string again =
        "Put it into Recovery mode or DFU, and restore it again with another cable.";
    const std::string diagnostics =
        "Look at its diagnostics, plug it in anew, and restore it again.";
    const std::string cable =
        "Look at its cable and port, and whether it is in Recovery mode or DFU.";
    const std::vector<std::pair<end_reason, std::string>> rows{
        {end_reason::device_error, again},
        {end_reason::silence, again},
        {end_reason::time_limit, again},
        {end_reason::no_completion, again},
        {end_reason::tool_error, diagnostics},
        {end_reason::tool_crashed, diagnostics},
        {end_reason::never_began, diagnostics},
        {end_reason::tool_not_started, "Check that all files of the tool are installed."},
        {end_reason::tool_given_up, "Unplug it. If the tool still runs, restart the computer."},
        {end_reason::not_back, cable},
        {end_reason::never_seen, cable},
        {end_reason::came_back, "Put it aside: it was restored, and does not start."},
        {end_reason::unfit, "Choose the bundle that is for it."},
        {end_reason::no_bundle, "Copy the bundle that is for it into the folder."},
        {end_reason::no_room, "Give a folder with more room, with --scratch."},
        {end_reason::held, "Wait for the other station."},
        {end_reason::completed, ""},
        {end_reason::user, ""},
        {end_reason::stopped, ""},
        {end_reason::watch_over, ""},
        {end_reason::not_begun, ""},
    };
    for (const auto& [reason, advice] : rows) {
        EXPECT_EQ(advice_for(reason), advice) << name_of(reason);
    }
}

TEST(final_state_word, is_in_capitals_when_somebody_should_look) {
    const std::vector<std::pair<final_state, std::string>> rows{
        {final_state::restored, "restored"},   {final_state::failed, "FAILED"},
        {final_state::timed_out, "TIMED OUT"}, {final_state::stalled, "STALLED"},
        {final_state::cancelled, "CANCELLED"}, {final_state::missing, "MISSING"},
        {final_state::left_alone, "LEFT"},
    };
    for (const auto& [state, word] : rows) {
        EXPECT_EQ(word_of(state), word);
    }
}

TEST(place, is_the_slot_or_the_location_number_or_a_dash) {
    event_device device;
    EXPECT_EQ(place_of(device), "-");
    device.location_id = 0x14110;
    EXPECT_EQ(place_of(device), "0x00014110");
    device.slot = "A1";
    EXPECT_EQ(place_of(device), "A1");
}

} // namespace
} // namespace vandrel::station
