#include "station/live_view.h"
#include "station/text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace vandrel::station {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;
using lines = std::vector<std::string>;

constexpr seconds ten_to_three = seconds((2 * 60 + 50) * 60);
constexpr screen_size usual{80, 24};

event_device device(int number, const std::string& slot) {
    event_device result;
    result.ecid = "000A11B22C33" + std::to_string(1000 + number);
    result.slot = slot;
    result.location_id = 0x14110000U + static_cast<unsigned>(number);
    return result;
}

device_found found() {
    device_properties properties;
    properties.model = "iPhone14,2";
    return {properties};
}

device_ended restored_after(awake_time duration) {
    try_result last;
    last.state = final_state::restored;
    last.reason = end_reason::completed;
    last.duration = duration;
    return {final_state::restored, end_reason::completed, 1, last};
}

device_ended failed(end_reason reason, std::optional<error_details> error = {}) {
    try_result last;
    last.reason = reason;
    last.error = std::move(error);
    last.last_operation = operation_progress{13, "Restoring image", 42};
    return {final_state::failed, reason, 1, last};
}

/// A view that is given events.
struct a_view {
    explicit a_view(live_facts facts = {command::restore, true, false, true, "17.1 (21B80)"},
                    time_left_of left = {})
        : view(std::move(facts), std::move(left)) {}

    void take(event_body body, const std::optional<event_device>& whom = {},
              awake_time t = awake_time(0)) {
        event what;
        what.device = whom;
        what.t = t;
        what.body = std::move(body);
        view.take(what, ten_to_three + std::chrono::floor<seconds>(t));
    }
    void begin(const event_device& whom) {
        take(found(), whom);
        take(try_started{}, whom);
    }
    lines at(awake_time t, screen_size size = usual) const {
        return view.frame(size, {ten_to_three + std::chrono::floor<seconds>(t), t}, false);
    }
    /// The line of the device in this slot.
    std::string row(const std::string& slot, awake_time t = awake_time(0)) const {
        for (const std::string& line : at(t)) {
            if (line.substr(3, 5) == fitted(slot, 5)) {
                return line;
            }
        }
        return {};
    }
    std::string last_line() const { return at(awake_time(0)).back(); }

    live_view view;
};

TEST(live_view, has_a_row_for_each_device_and_what_it_does) {
    a_view run;
    const event_device a1 = device(1, "A1");
    const event_device a2 = device(2, "A2");
    const event_device a3 = device(3, "A3");
    const event_device a4 = device(4, "A4");
    const event_device a5 = device(5, "A5");
    for (const event_device& each : {a1, a2, a3, a4}) {
        run.begin(each);
    }
    run.take(found(), a5);
    run.take(operation{{13, "Restoring image", 0}}, a2);
    run.take(progress{{13, "Restoring image", 48}}, a2);
    run.take(operation{{28, "Waiting for NAND", 10}}, a3, minutes(1));
    run.take(restored_after(minutes(18) + seconds(2)), a1, minutes(18));
    run.take(failed(end_reason::device_error, error_details{"", 4005, ""}), a4, minutes(19));
    run.take(quiet{false, minutes(9)}, a3, minutes(21));
    EXPECT_EQ(run.at(minutes(21) + seconds(10)),
              (lines{
                  " RESTORE + ERASE  17.1 (21B80)  to do 3 of 5         03:11:10, running 00:21:10",
                  "   SLOT ECID             MODEL      OPERATION          DONE        TIME  LEFT",
                  " + A1   000A11B22C331001 iPhone14,2 restored                      18:02",
                  "   A2   000A11B22C331002 iPhone14,2 Restoring image    ####.....  48%",
                  " ! A3   000A11B22C331003 iPhone14,2 Waiting for NAND   quiet 12:10",
                  " X A4   000A11B22C331004 iPhone14,2 FAILED 4005 in Restoring image 42%",
                  " . A5   000A11B22C331005 iPhone14,2 waiting",
                  " 2 running  1 waiting  1 restored  1 failed  0 stalled  0 left alone",
                  " 03:09:00 A4 FAILED error 4005 in Restoring image at 42 %",
                  " 03:11:00 A3 QUIET no report for 00:12:00",
                  " Ctrl-C: begin no more devices. Unplug nothing but + and X.",
              }));
}

TEST(live_view, begins_with_the_first_device_that_is_begun) {
    a_view run;
    run.take(run_started{command::restore, true, false});
    run.take(found(), device(1, "A1"));
    EXPECT_FALSE(run.view.has_begun());
    run.take(try_started{}, device(1, "A1"));
    EXPECT_TRUE(run.view.has_begun());
}

TEST(live_view, is_ordered_by_slots_whose_numbers_are_numbers) {
    a_view run;
    run.take(found(), device(1, "A10"));
    run.take(found(), device(2, "B1"));
    run.take(found(), device(3, "A2"));
    run.take(found(), device(4, ""));
    const lines shown = run.at(awake_time(0));
    EXPECT_EQ(shown[2].substr(3, 3), "A2 ");
    EXPECT_EQ(shown[3].substr(3, 3), "A10");
    EXPECT_EQ(shown[4].substr(3, 3), "B1 ");
    EXPECT_EQ(shown[5].substr(3, 3), "0x1");
}

TEST(live_view, has_what_is_left_where_that_is_known) {
    a_view run({command::restore, true, false, true, ""},
               [](const std::string& ecid, awake_time now) -> std::optional<awake_time> {
                   if (ecid == device(1, "A1").ecid) {
                       return minutes(20) - now;
                   }
                   return {};
               });
    for (int i = 1; i <= 2; ++i) {
        run.begin(device(i, "A" + std::to_string(i)));
        run.take(operation{{13, "Restoring image", 100}}, device(i, "A" + std::to_string(i)));
    }
    EXPECT_EQ(run.row("A1", minutes(7)),
              "   A1   000A11B22C331001 iPhone14,2 Restoring image    ######### 100%   13:00");
    EXPECT_EQ(run.row("A2", minutes(7)),
              "   A2   000A11B22C331002 iPhone14,2 Restoring image    ######### 100%");
}

TEST(live_view, shows_an_operation_without_a_name_by_its_number) {
    a_view run;
    run.begin(device(1, "A1"));
    run.take(operation{{999, "Unknown", 7}}, device(1, "A1"));
    EXPECT_EQ(run.row("A1"),
              "   A1   000A11B22C331001 iPhone14,2 operation 999      .........   7%");
}

TEST(live_view, goes_on_with_a_device_that_reports_again) {
    a_view run;
    const event_device a1 = device(1, "A1");
    run.begin(a1);
    EXPECT_EQ(run.row("A1").substr(36), "started");
    run.take(quiet{true, awake_time(0)}, a1, minutes(5));
    EXPECT_EQ(run.row("A1", minutes(65)).substr(0, 3), " ! ");
    EXPECT_EQ(run.row("A1", minutes(65)).substr(36), "started            quiet 1:05:00");
    run.take(quiet_over{}, a1, minutes(66));
    run.take(operation{{13, "Restoring image", 50}}, a1, minutes(66));
    EXPECT_EQ(run.row("A1").substr(0, 3), "   ");
    EXPECT_EQ(run.row("A1").substr(36), "Restoring image    ####.....  50%");
}

TEST(live_view, counts_silence_without_the_gaps_of_the_clock) {
    a_view run;
    run.begin(device(1, "A1"));
    run.take(clock_gap{minutes(60)}, {}, minutes(1));
    run.take(quiet{false, minutes(1)}, device(1, "A1"), minutes(11));
    const lines shown = run.at(minutes(72));
    EXPECT_EQ(shown[0].substr(shown[0].size() - 16), "running 00:12:00");
    EXPECT_EQ(shown[2].substr(55), "quiet 11:00");
}

TEST(live_view, stays_with_a_failure_until_the_end) {
    a_view run;
    const event_device a1 = device(1, "A1");
    run.begin(a1);
    run.take(failure_reported{{13, "Restoring image", 42}, "Failed", error_details{"", 4005, ""}},
             a1);
    run.take(progress{{13, "Restoring image", 43}}, a1);
    run.take(quiet{false, awake_time(0)}, a1, minutes(11));
    EXPECT_EQ(run.row("A1"),
              " ! A1   000A11B22C331001 iPhone14,2 FAILING 4005 in Restoring image 42%");
}

TEST(live_view, has_a_line_for_each_failure) {
    a_view run;
    const event_device a1 = device(1, "A1");
    run.begin(a1);
    run.take(failure_reported{{13, "Restoring image", 42}, "Failed", error_details{"", 4005, ""}},
             a1);
    try_ended last;
    run.take(last, a1);
    run.take(failed(end_reason::device_error, error_details{"", 4005, ""}), a1);
    EXPECT_EQ(run.at(awake_time(0))[4],
              " 02:50:00 A1 FAILED error 4005 in Restoring image at 42 %");
    EXPECT_EQ(run.at(awake_time(0)).size(), 6U);
}

TEST(live_view, has_a_line_for_a_warning_about_the_whole_run) {
    a_view run;
    run.begin(device(1, "A1"));
    run.take(log_incomplete{"events.jsonl is not whole"});
    EXPECT_EQ(run.at(awake_time(0))[4],
              " 02:50:00 WARNING the run's record is incomplete: events.jsonl is not whole");
}

TEST(live_view, names_a_device_without_a_place_by_its_ecid) {
    a_view run;
    event_device somewhere = device(1, "");
    somewhere.location_id = 0;
    run.begin(somewhere);
    run.take(failed(end_reason::time_limit), somewhere);
    EXPECT_EQ(run.at(awake_time(0))[4].substr(0, 34), " 02:50:00 000A11B22C331001 FAILED ");
}

TEST(live_view, shows_who_waits_for_a_next_try) {
    a_view run;
    const event_device a1 = device(1, "A1");
    run.begin(a1);
    try_ended ended;
    ended.will_retry = true;
    run.take(ended, a1);
    EXPECT_EQ(run.row("A1"), " . A1   000A11B22C331001 iPhone14,2 waits for its next try");
    run.take(device_away{}, a1);
    EXPECT_EQ(run.row("A1").substr(36), "not in the last list");
    run.take(device_back{}, a1);
    EXPECT_EQ(run.row("A1").substr(36), "waiting");
    run.take(try_started{}, a1);
    EXPECT_EQ(run.row("A1").substr(36), "started");
}

TEST(live_view, has_half_a_line_for_each_end) {
    using enum end_reason;
    const auto shown = [](const device_ended& body) {
        a_view run;
        run.begin(device(1, "A1"));
        run.take(body, device(1, "A1"));
        const std::string row = run.row("A1");
        EXPECT_EQ(row.substr(0, 3), " X ");
        return row.substr(36);
    };
    EXPECT_EQ(shown(failed(tool_error, error_details{"vandrel", 5, "because"})),
              "FAILED 5 in Restoring image 42%");
    device_ended ended = failed(silence);
    ended.state = final_state::stalled;
    EXPECT_EQ(shown(ended), "STALLED in Restoring image 42%");
    ended = failed(time_limit);
    ended.state = final_state::timed_out;
    EXPECT_EQ(shown(ended), "TIMED OUT in Restoring image 42%");
    EXPECT_EQ(shown({final_state::failed, not_back, 1, {}}),
              "FAILED it was to be tried again and did not");
    EXPECT_EQ(shown({final_state::missing, never_seen, 0, {}}), "MISSING it was never seen");
}

TEST(live_view, shows_who_is_left_alone) {
    a_view run;
    run.take(found(), device(1, "A1"));
    run.take(device_left_alone{end_reason::held, 4711}, device(1, "A1"));
    run.take(found(), device(2, "A2"));
    run.take(device_left_alone{end_reason::unfit, {}}, device(2, "A2"));
    EXPECT_EQ(run.row("A1"),
              " - A1   000A11B22C331001 iPhone14,2 left alone: process 4711 works on it");
    EXPECT_EQ(run.row("A2"),
              " - A2   000A11B22C331002 iPhone14,2 left alone: the bundle is not for it");
    EXPECT_EQ(run.at(awake_time(0))[4],
              " 0 running  0 waiting  0 restored  0 failed  0 stalled  2 left alone");
}

TEST(live_view, counts_every_end) {
    a_view run;
    int number = 0;
    for (const final_state each :
         {final_state::stalled, final_state::timed_out, final_state::cancelled,
          final_state::cancelled, final_state::missing}) {
        ++number;
        run.begin(device(number, "A1"));
        run.take(device_ended{each, end_reason::user, 1, {}}, device(number, "A1"));
    }
    EXPECT_EQ(run.at(awake_time(0))[7],
              " 0 running  0 waiting  0 restored  0 failed  1 stalled  1 timed out  2 cancelle");
    EXPECT_EQ(run.at(awake_time(0), {120, 24})[7],
              " 0 running  0 waiting  0 restored  0 failed  1 stalled  1 timed out  2 cancelled  1 "
              "missing  0 left alone");
}

TEST(a_watch, gives_the_place_of_an_ended_device_to_the_next_one) {
    a_view run({command::restore, false, true, true, "17.1 (21B80)"});
    event_device first = device(1, "A1");
    event_device second = device(2, "A1");
    second.location_id = first.location_id;
    run.begin(first);
    run.take(restored_after(minutes(18)), first);
    run.begin(second);
    const lines shown = run.at(awake_time(0));
    EXPECT_EQ(shown[0],
              " RESTORE  17.1 (21B80)  to do 1, done 1              02:50:00, running 00:00:00");
    EXPECT_EQ(shown[2], "   A1   000A11B22C331002 iPhone14,2 started");
    EXPECT_EQ(shown[3], " 1 running  0 waiting  1 restored  0 failed  0 stalled  0 left alone");
    // The first one is back.
    run.take(restored_after(minutes(18)), second);
    run.begin(first);
    EXPECT_EQ(run.row("A1"), "   A1   000A11B22C331001 iPhone14,2 started");
    EXPECT_EQ(run.at(awake_time(0)).size(), 5U);
}

TEST(a_watch, shows_a_device_that_came_back) {
    a_view run({command::restore, false, true, true, ""});
    const event_device a1 = device(1, "A1");
    run.begin(a1);
    run.take(restored_after(minutes(18)), a1);
    device_ended ended = restored_after(minutes(18));
    ended.state = final_state::failed;
    ended.reason = end_reason::came_back;
    run.take(ended, a1);
    EXPECT_EQ(run.row("A1").substr(36), "FAILED it was restored and came back soon a");
}

TEST(recovery, is_named_and_done) {
    a_view run({command::recover_exit, false, false, true, ""});
    run.begin(device(1, "A1"));
    run.take(restored_after(seconds(3)), device(1, "A1"));
    const lines shown = run.at(awake_time(0));
    EXPECT_EQ(shown[0],
              " LEAVE RECOVERY MODE  to do 0 of 1                   02:50:00, running 00:00:00");
    EXPECT_EQ(shown[2], " + A1   000A11B22C331001 iPhone14,2 done                          00:03");
    EXPECT_EQ(shown[3], " 0 running  0 waiting  1 done  0 failed  0 stalled  0 left alone");
}

/// 64 devices: of each ten, two are restored, five run, one is quiet, one has failed, one waits.
a_view sixty_four_devices() {
    a_view run;
    for (int i = 0; i < 64; ++i) {
        const std::string slot =
            std::string(1, static_cast<char>('A' + i / 10)) + std::to_string(i % 10);
        const event_device each = device(i, slot);
        run.take(found(), each);
        if (i % 10 == 9) {
            continue;
        }
        run.take(try_started{}, each);
        run.take(operation{{13, "Restoring image", i}}, each);
        if (i % 10 < 2) {
            run.take(restored_after(minutes(10)), each);
        } else if (i % 10 == 7) {
            run.take(quiet{false, awake_time(0)}, each, minutes(10));
        } else if (i % 10 == 8) {
            run.take(failed(end_reason::silence), each);
        }
    }
    return run;
}

TEST(live_view, folds_what_has_no_room) {
    const a_view run = sixty_four_devices();
    const std::string at_4 = "iPhone14,2 Restoring image    .........   4%";
    const std::string quiet = "iPhone14,2 Restoring image    quiet 10:00";
    const std::string failed = "iPhone14,2 FAILED in Restoring image 42%";
    EXPECT_EQ(run.at(minutes(10)),
              (lines{
                  " RESTORE + ERASE  17.1 (21B80)  to do 44 of 64       03:00:00, running 00:10:00",
                  "   SLOT ECID             MODEL      OPERATION          DONE        TIME  LEFT",
                  "   A2   000A11B22C331002 iPhone14,2 Restoring image    .........   2%",
                  "   A3   000A11B22C331003 iPhone14,2 Restoring image    .........   3%",
                  "   A4   000A11B22C331004 " + at_4,
                  "   A5   000A11B22C331005 iPhone14,2 Restoring image    .........   5%",
                  "   A6   000A11B22C331006 iPhone14,2 Restoring image    .........   6%",
                  " ! A7   000A11B22C331007 " + quiet,
                  " X A8   000A11B22C331008 " + failed,
                  " ! B7   000A11B22C331017 " + quiet,
                  " X B8   000A11B22C331018 " + failed,
                  " ! C7   000A11B22C331027 " + quiet,
                  " X C8   000A11B22C331028 " + failed,
                  " ! D7   000A11B22C331037 " + quiet,
                  " X D8   000A11B22C331038 " + failed,
                  " ! E7   000A11B22C331047 " + quiet,
                  " X E8   000A11B22C331048 " + failed,
                  " ! F7   000A11B22C331057 " + quiet,
                  " X F8   000A11B22C331058 " + failed,
                  "   (+ 14 restored, 27 running, . 6 waiting: no room to show them)",
                  " 38 running  6 waiting  14 restored  6 failed  0 stalled  0 left alone",
                  " 03:00:00 F7 QUIET no report for 00:10:00",
                  " 02:50:00 F8 FAILED no report came any more in Restoring image at 42 %",
                  " Ctrl-C: begin no more devices. Unplug nothing but + and X.",
              }));
}

TEST(live_view, shows_all_where_there_is_room) {
    const lines shown = sixty_four_devices().at(minutes(10), {200, 71});
    EXPECT_EQ(shown.size(), 71U);
    EXPECT_EQ(std::ranges::count_if(shown,
                                    [](const std::string& line) {
                                        return line.find("000A11B22C33") != std::string::npos;
                                    }),
              64);
}

TEST(live_view, is_never_larger_than_the_screen) {
    const a_view run = sixty_four_devices();
    for (std::size_t rows = 0; rows <= 80; ++rows) {
        for (const std::size_t columns : {0U, 1U, 2U, 40U, 79U, 80U, 81U, 120U, 300U}) {
            const lines shown = run.at(minutes(10), {columns, rows});
            EXPECT_LE(shown.size(), rows);
            for (const std::string& line : shown) {
                EXPECT_LE(line.size(), columns == 0 ? 0 : columns - 1);
            }
        }
    }
}

TEST(live_view, has_longer_names_on_a_wider_screen) {
    a_view run;
    run.begin(device(1, "A1"));
    run.take(operation{{70, "Creating Recovery OS Partition/Container/Volume", 50}},
             device(1, "A1"));
    EXPECT_EQ(run.row("A1").substr(36), "Creating Recovery  ####.....  50%");
    EXPECT_EQ(run.at(awake_time(0), {200, 24})[2].substr(36),
              "Creating Recovery OS Partition/Container/Volume ####.....  50%");
}

TEST(live_view, has_room_for_location_numbers_without_slots) {
    a_view run({command::restore, true, false, false, "17.1 (21B80)"});
    run.begin(device(1, ""));
    run.take(operation{{13, "Restoring image", 50}}, device(1, ""));
    const lines shown = run.at(awake_time(0));
    EXPECT_EQ(shown[1],
              "   SLOT       ECID             MODEL      OPERATION         DONE   TIME  LEFT");
    EXPECT_EQ(shown[2], "   0x14110001 000A11B22C331001 iPhone14,2 Restoring image   ##..  50%");
}

TEST(live_view, never_has_a_control_character_of_a_device_or_a_file) {
    const std::string hostile = "\x1b[2J\x07\r\n\x9b\xe2\x80\xae\xff";
    a_view run({command::restore, true, false, true, "17.1 (21B80)"});
    event_device bad = device(1, hostile);
    bad.ecid = hostile;
    device_properties properties;
    properties.model = hostile;
    run.take(device_found{properties}, bad);
    run.take(try_started{}, bad);
    run.take(operation{{13, hostile, 50}}, bad);
    run.take(warning{warning_kind::error_in_report, {}, error_details{hostile, 1, hostile}, {}},
             bad);
    run.take(failure_reported{{13, hostile, 42}, hostile, error_details{hostile, {}, hostile}},
             bad);
    run.take(cancel{2, {bad}});
    for (int i = 0; i < 2; ++i) {
        for (const std::string& line : run.at(awake_time(0), {300, 24})) {
            EXPECT_EQ(line, printable(line));
        }
        device_ended ended =
            failed(end_reason::tool_not_started, error_details{hostile, {}, hostile});
        ended.last_try->last_operation->name = hostile;
        run.take(ended, bad);
    }
}

TEST(live_view, keeps_its_columns_with_wide_characters) {
    a_view run;
    run.begin(device(1, "左1"));
    EXPECT_EQ(run.at(awake_time(0))[2], "   左1  000A11B22C331001 iPhone14,2 started");
}

TEST(live_view, says_what_the_next_ctrl_c_does) {
    a_view run;
    run.begin(device(1, "A1"));
    run.begin(device(2, "A2"));
    run.take(cancel{1, {}});
    EXPECT_EQ(run.last_line(), " Ctrl-C: end the running tools. Unplug nothing but + and X.");
    run.take(cancel{2, {device(1, "A1"), device(2, "A2")}});
    EXPECT_EQ(run.last_line(),
              " Ctrl-C (after 10 s: twice): also end those that write firmware: A1, A2");
    run.take(cancel{3, {}});
    EXPECT_EQ(run.last_line(), " The running tools are ended. Unplug nothing but + and X.");
}

TEST(live_view, is_coloured_if_that_is_wanted) {
    a_view run;
    for (int i = 1; i <= 4; ++i) {
        run.begin(device(i, "A" + std::to_string(i)));
    }
    run.take(restored_after(minutes(18)), device(1, "A1"));
    run.take(failed(end_reason::silence), device(3, "A3"));
    run.take(quiet{false, awake_time(0)}, device(4, "A4"));
    const moment now{ten_to_three, awake_time(0)};
    const lines shown = run.view.frame(usual, now, true);
    const lines plain = run.view.frame(usual, now, false);
    ASSERT_EQ(shown.size(), plain.size());
    EXPECT_EQ(shown[0], "\x1b[1m" + plain[0] + "\x1b[0m");
    EXPECT_EQ(shown[2], "\x1b[32m" + plain[2] + "\x1b[0m");
    EXPECT_EQ(shown[3], plain[3]);
    EXPECT_EQ(shown[4], "\x1b[31m" + plain[4] + "\x1b[0m");
    EXPECT_EQ(shown[5], "\x1b[33m" + plain[5] + "\x1b[0m");
}

} // namespace
} // namespace vandrel::station
