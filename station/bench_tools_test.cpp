#include "station/test_bench.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vandrel::station {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// One device, whose tool runs.
class bench_tool : public testing::Test {
protected:
    static bench_options options() {
        bench_options result = all_devices();
        result.time_limit = 3h;
        return result;
    }

    void SetUp() override {
        bench.attach(device_a);
        bench.turn();
    }

    std::size_t ended() const { return bench.decided<end_tool>().size(); }

    bench_under_test bench{options()};
};

TEST(bench_starts, are_no_more_than_at_once) {
    bench_options options = all_devices();
    options.at_once = 2;
    bench_under_test bench(options);
    for (const std::string& ecid : {device_a, device_b, device_c, device_d}) {
        bench.attach(ecid);
    }
    bench.turn();
    bench.pass(1min);
    EXPECT_THAT(bench.started(), ElementsAre(device_a, device_b));
    bench.restores(device_b);
    EXPECT_THAT(bench.started(), ElementsAre(device_a, device_b, device_c));
}

TEST(bench_starts, are_a_stagger_apart) {
    bench_options options = all_devices();
    options.stagger = 2s;
    bench_under_test bench(options);
    for (const std::string& ecid : {device_a, device_b, device_c}) {
        bench.attach(ecid);
    }
    bench.turn();
    EXPECT_EQ(bench.started().size(), 1u);
    bench.pass(1750ms);
    EXPECT_EQ(bench.started().size(), 1u);
    bench.pass(250ms);
    EXPECT_EQ(bench.started().size(), 2u);
    bench.pass(2s);
    EXPECT_EQ(bench.started().size(), 3u);
}

TEST(bench_starts, keep_the_computer_awake) {
    bench_under_test bench(all_devices());
    bench.attach(device_a);
    EXPECT_FALSE(bench.working());
    bench.turn();
    EXPECT_TRUE(bench.working());
    bench.restores(device_a);
    EXPECT_FALSE(bench.working());
}

TEST_F(bench_tool, quiet_is_shown_after_ten_minutes_and_over_with_a_report) {
    bench.reports(device_a, report(13, 1));
    bench.pass(9min + 59s + 750ms);
    EXPECT_THAT(bench.logged<quiet>(), IsEmpty());
    bench.pass(250ms);
    ASSERT_EQ(bench.logged<quiet>(device_a).size(), 1u);
    EXPECT_FALSE(bench.logged<quiet>()[0].never_began);
    bench.pass(5min);
    EXPECT_EQ(bench.logged<quiet>().size(), 1u);
    EXPECT_THAT(bench.logged<quiet_over>(), IsEmpty());
    bench.reports(device_a, report(13, 1));
    EXPECT_EQ(bench.logged<quiet_over>(device_a).size(), 1u);
    bench.pass(10min);
    EXPECT_EQ(bench.logged<quiet>().size(), 2u);
}

TEST_F(bench_tool, five_minutes_without_any_report_are_a_restore_that_never_began) {
    bench.pass(4min + 59s + 750ms);
    EXPECT_THAT(bench.logged<quiet>(), IsEmpty());
    bench.pass(250ms);
    ASSERT_EQ(bench.logged<quiet>(device_a).size(), 1u);
    EXPECT_TRUE(bench.logged<quiet>()[0].never_began);
    EXPECT_EQ(ended(), 0u);
}

TEST_F(bench_tool, silence_ends_the_tool_after_the_stall_timeout) {
    bench.reports(device_a, report(13, 1));
    bench.pass(29min + 59s + 750ms);
    EXPECT_EQ(ended(), 0u);
    bench.pass(250ms);
    ASSERT_EQ(ended(), 1u);
    EXPECT_EQ(bench.decided<end_tool>()[0].why, end_tool_why::silence);
    EXPECT_EQ(bench.decided<end_tool>()[0].tool, bench.tool(device_a));
    bench.pass(10s);
    EXPECT_EQ(ended(), 1u);
}

TEST_F(bench_tool, a_report_in_the_same_turn_as_a_limit_saves_the_device) {
    bench.reports(device_a, report(13, 1));
    bench.pass(29min + 59s + 750ms);
    bench.jump(1s);
    bench.turn({report_arrived{bench.tool(device_a), report(13, 2)}});
    EXPECT_EQ(ended(), 0u);
}

TEST_F(bench_tool, a_completion_in_the_same_turn_as_the_linger_saves_the_device) {
    bench.reports(device_a, report(13, 1, "Failed"));
    bench.pass(29s + 750ms);
    bench.jump(1s);
    bench.turn({report_arrived{bench.tool(device_a), report(0, 100, "Successful")}});
    EXPECT_EQ(ended(), 0u);
}

TEST_F(bench_tool, an_unreadable_record_breaks_the_silence) {
    bench.reports(device_a, report(13, 1));
    bench.pass(29min + 59s);
    bench.turn({record_unreadable{bench.tool(device_a)}});
    bench.pass(29min + 59s);
    EXPECT_EQ(ended(), 0u);
}

TEST(bench_firmware, is_never_ended_for_silence_but_by_the_time_limit) {
    for (const std::int32_t operation :
         {10, 18, 19, 32, 35, 39, 47, 51, 55, 56, 58, 59, 60, 66, 67, 80}) {
        bench_options options = all_devices();
        options.time_limit = 2h;
        bench_under_test bench(options);
        bench.attach(device_a);
        bench.turn();
        bench.reports(device_a, report(operation, 1));
        bench.pass(1h + 59min + 59s);
        EXPECT_THAT(bench.decided<end_tool>(), IsEmpty()) << operation;
        EXPECT_EQ(bench.logged<quiet>().size(), 1u) << operation;
        bench.pass(1s);
        ASSERT_EQ(bench.decided<end_tool>().size(), 1u) << operation;
        EXPECT_EQ(bench.decided<end_tool>()[0].why, end_tool_why::time_limit);
    }
}

TEST(bench_firmware, without_a_limit_of_the_station_is_not_ended_at_all) {
    bench_under_test bench(all_devices());
    bench.attach(device_a);
    bench.turn();
    bench.reports(device_a, report(18, 1));
    bench.pass(12h);
    EXPECT_THAT(bench.decided<end_tool>(), IsEmpty());
}

TEST_F(bench_tool, an_operation_after_the_firmware_is_ended_for_silence_again) {
    bench.reports(device_a, report(18, 100));
    bench.reports(device_a, report(28, 0));
    bench.pass(30min);
    EXPECT_EQ(ended(), 1u);
}

TEST_F(bench_tool, a_failing_report_is_shown_at_once) {
    bench.reports(device_a, report(13, 42));
    bench.reports(device_a, report(0, 100, "Failed", std::int64_t{4005}));
    ASSERT_EQ(bench.logged<failure_reported>(device_a).size(), 1u);
    const failure_reported shown = bench.logged<failure_reported>()[0];
    EXPECT_EQ(shown.where, (operation_progress{13, "operation", 42}));
    EXPECT_EQ(shown.error, (error_details{"", 4005, ""}));
    EXPECT_EQ(ended(), 0u);
}

TEST_F(bench_tool, a_failing_tool_is_ended_after_the_linger_without_a_report) {
    bench.reports(device_a, report(13, 42, "Failed"));
    bench.pass(29s + 750ms);
    EXPECT_EQ(ended(), 0u);
    bench.pass(250ms);
    ASSERT_EQ(ended(), 1u);
    EXPECT_EQ(bench.decided<end_tool>()[0].why, end_tool_why::linger);
}

TEST_F(bench_tool, each_report_prolongs_the_linger_up_to_five_minutes) {
    bench.reports(device_a, report(13, 42, "Failed"));
    for (int half_minutes = 0; half_minutes < 10; ++half_minutes) {
        bench.pass(29s);
        EXPECT_EQ(ended(), 0u);
        bench.reports(device_a, report(13, half_minutes, "Failed"));
        bench.pass(750ms);
    }
    bench.pass(2s + 250ms);
    EXPECT_EQ(ended(), 0u);
    bench.pass(250ms);
    ASSERT_EQ(ended(), 1u);
    EXPECT_EQ(bench.decided<end_tool>()[0].why, end_tool_why::linger);
}

TEST_F(bench_tool, an_error_that_neither_completes_nor_fails_is_a_warning_and_no_failure) {
    bench.reports(device_a, report(13, 42, "Restoring", std::int64_t{9}));
    EXPECT_THAT(bench.logged<failure_reported>(), IsEmpty());
    ASSERT_EQ(bench.logged<warning>(device_a).size(), 1u);
    EXPECT_EQ(bench.logged<warning>()[0].kind, warning_kind::error_in_report);
    EXPECT_EQ(bench.logged<warning>()[0].error,
              (error_details{"", 9, "Communication error, possibly USB disconnection"}));
    bench.pass(10min);
    EXPECT_EQ(ended(), 0u);
}

TEST_F(bench_tool, what_comes_after_a_good_completion_is_a_warning) {
    bench.reports(device_a, report(0, 100, "Successful"));
    bench.reports(device_a, report(13, 1, "Failed", std::int64_t{9}));
    bench.turn({internal_error{bench.tool(device_a), {"vandrel", 7, ""}}});
    bench.ends(device_a, 3);
    EXPECT_THAT(bench.logged<failure_reported>(), IsEmpty());
    const std::vector<warning> warnings = bench.logged<warning>(device_a);
    ASSERT_EQ(warnings.size(), 3u);
    for (const warning& one : warnings) {
        EXPECT_EQ(one.kind, warning_kind::after_completion);
    }
    EXPECT_EQ(warnings[2].exit_status, 3);
    EXPECT_EQ(bench.exit_status(), 0);
}

TEST_F(bench_tool, a_good_completion_after_a_failing_report_ends_the_linger) {
    bench.reports(device_a, report(13, 1, "Failed"));
    bench.reports(device_a, report(0, 100, "Successful"));
    bench.pass(10min);
    EXPECT_EQ(ended(), 0u);
}

TEST_F(bench_tool, a_failing_report_after_a_good_completion_does_not_end_the_tool) {
    bench.reports(device_a, report(0, 100, "Successful"));
    bench.reports(device_a, report(13, 1, "Failed"));
    bench.pass(10min);
    EXPECT_EQ(ended(), 0u);
}

TEST_F(bench_tool, the_stations_time_limit_ends_it_whatever_it_reports) {
    for (int minute = 0; minute < 180; ++minute) {
        EXPECT_EQ(ended(), 0u) << minute;
        bench.reports(device_a, report(13, minute));
        bench.pass(1min);
    }
    ASSERT_EQ(ended(), 1u);
    EXPECT_EQ(bench.decided<end_tool>()[0].why, end_tool_why::time_limit);
}

TEST_F(bench_tool, is_over_when_the_process_and_the_stream_have_ended) {
    bench.turn({process_ended{bench.tool(device_a), 0}});
    EXPECT_THAT(bench.logged<try_ended>(), IsEmpty());
    bench.turn({stream_ended{bench.tool(device_a)}});
    ASSERT_EQ(bench.logged<try_ended>().size(), 1u);
    EXPECT_EQ(bench.logged<try_ended>()[0].exit_status, 0);
    ASSERT_EQ(bench.decided<tool_over>().size(), 1u);
    EXPECT_EQ(bench.decided<tool_over>()[0].tool, bench.tool(device_a));
}

TEST_F(bench_tool, is_not_over_while_only_the_stream_has_ended) {
    bench.turn({stream_ended{bench.tool(device_a)}});
    bench.pass(1min);
    EXPECT_THAT(bench.logged<try_ended>(), IsEmpty());
}

TEST_F(bench_tool, is_over_two_seconds_after_the_process_when_the_stream_stays_open) {
    bench.turn({process_ended{bench.tool(device_a), 0}});
    bench.pass(1750ms);
    EXPECT_THAT(bench.logged<try_ended>(), IsEmpty());
    bench.reports(device_a, report(0, 100, "Successful"));
    bench.pass(250ms);
    ASSERT_EQ(bench.logged<try_ended>().size(), 1u);
    EXPECT_EQ(bench.logged<try_ended>()[0].state, final_state::restored);
}

TEST_F(bench_tool, what_a_tool_reports_after_it_is_over_has_no_effect) {
    bench.attach(device_b);
    bench.ends(device_a, 1);
    const std::size_t events = bench.events().size();
    bench.reports(device_a, report(0, 100, "Successful"));
    EXPECT_EQ(bench.events().size(), events);
    EXPECT_EQ(bench.state(device_a), final_state::failed);
}

TEST_F(bench_tool, that_does_not_go_within_thirty_seconds_is_given_up) {
    bench.pass(30min);
    ASSERT_EQ(ended(), 1u);
    bench.pass(29s + 750ms);
    EXPECT_THAT(bench.decided<give_up_tool>(), IsEmpty());
    bench.pass(250ms);
    ASSERT_EQ(bench.decided<give_up_tool>().size(), 1u);
    EXPECT_EQ(bench.reason(device_a), end_reason::tool_given_up);
    EXPECT_TRUE(bench.over());
    EXPECT_EQ(bench.exit_status(), 1);
}

TEST(bench_given_up, keeps_its_lock_until_it_goes_after_all) {
    bench_under_test bench(watch());
    bench.attach(device_a);
    bench.turn();
    bench.pass(31min);
    ASSERT_EQ(bench.decided<give_up_tool>().size(), 1u);
    EXPECT_THAT(bench.decided<unlock_device>(), IsEmpty());
    EXPECT_THAT(bench.decided<tool_over>(), IsEmpty());
    bench.turn({process_ended{bench.tool(device_a), 1}});
    EXPECT_EQ(bench.decided<unlock_device>().size(), 1u);
    EXPECT_EQ(bench.decided<tool_over>().size(), 1u);
}

TEST(bench_given_up, bars_its_device_for_the_run_and_leaves_room_for_others) {
    bench_options options = watch();
    options.at_once = 1;
    options.retries = 3;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.attach(device_b);
    bench.turn();
    bench.pass(31min);
    EXPECT_THAT(bench.started(), ElementsAre(device_a, device_b));
    bench.restores(device_b);
    bench.detach(device_a);
    bench.detach(device_b);
    bench.pass(5min);
    bench.attach(device_a);
    bench.pass(5min);
    EXPECT_THAT(bench.started(), ElementsAre(device_a, device_b));
}

TEST_F(bench_tool, reports_an_operation_once_and_then_its_progress) {
    bench.reports(device_a, report(13, 0));
    bench.reports(device_a, report(13, 0));
    bench.reports(device_a, report(13, 7));
    bench.reports(device_a, report(14, 7));
    ASSERT_EQ(bench.logged<operation>(device_a).size(), 2u);
    EXPECT_EQ(bench.logged<operation>()[0].operation_progress::operation, 13);
    EXPECT_EQ(bench.logged<operation>()[1].operation_progress::operation, 14);
    ASSERT_EQ(bench.logged<progress>(device_a).size(), 1u);
    EXPECT_EQ(bench.logged<progress>()[0].operation_progress::progress, 7);
}

TEST_F(bench_tool, reports_at_its_end_where_it_was_how_long_it_took_and_what_was_unreadable) {
    bench.reports(device_a, report(13, 42));
    bench.turn({record_unreadable{bench.tool(device_a)}});
    bench.turn({record_unreadable{bench.tool(device_a)}});
    bench.pass(90s);
    bench.restores(device_a);
    ASSERT_EQ(bench.logged<try_ended>(device_a).size(), 1u);
    const try_ended end = bench.logged<try_ended>()[0];
    EXPECT_EQ(end.last_operation, (operation_progress{13, "operation", 42}));
    EXPECT_EQ(end.duration, 90s);
    EXPECT_EQ(end.unreadable_records, 2u);
    ASSERT_EQ(bench.logged<device_ended>(device_a).size(), 1u);
    EXPECT_EQ(bench.logged<device_ended>()[0].tries, 1);
    EXPECT_EQ(bench.logged<device_ended>()[0].last_try->duration, 90s);
    EXPECT_EQ(bench.logged<warning>().size(), 1u);
}

TEST(bench_recover, is_complete_with_the_commands_success) {
    bench_options options = all_devices();
    options.what = command::recover_exit;
    options.erase = false;
    options.bundles.reset();
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.turn();
    bench.turn({command_succeeded{bench.tool(device_a)}});
    bench.ends(device_a);
    EXPECT_EQ(bench.state(device_a), final_state::restored);
    EXPECT_EQ(bench.exit_status(), 0);
}

TEST_F(bench_tool, that_restores_does_not_complete_with_a_commands_success) {
    bench.turn({command_succeeded{bench.tool(device_a)}});
    bench.ends(device_a);
    EXPECT_EQ(bench.state(device_a), final_state::failed);
    EXPECT_EQ(bench.reason(device_a), end_reason::no_completion);
}

TEST_F(bench_tool, a_gap_of_over_five_seconds_counts_every_silence_anew) {
    bench.reports(device_a, report(13, 1));
    bench.pass(29min + 59s);
    bench.jump(1h);
    bench.turn();
    ASSERT_EQ(bench.logged<clock_gap>().size(), 1u);
    EXPECT_EQ(bench.logged<clock_gap>()[0].length, 1h);
    EXPECT_EQ(bench.logged<quiet_over>().size(), 1u);
    bench.pass(29min + 59s);
    EXPECT_EQ(ended(), 0u);
    bench.pass(1s);
    EXPECT_EQ(ended(), 1u);
}

TEST_F(bench_tool, a_gap_counts_for_no_limit) {
    bench.reports(device_a, report(18, 1));
    bench.pass(1h);
    bench.jump(24h);
    bench.turn();
    EXPECT_EQ(ended(), 0u);
    bench.pass(1h + 59min + 59s);
    EXPECT_EQ(ended(), 0u);
    bench.pass(1s);
    EXPECT_EQ(ended(), 1u);
}

TEST_F(bench_tool, five_seconds_are_no_gap) {
    bench.jump(5s);
    bench.turn();
    EXPECT_THAT(bench.logged<clock_gap>(), IsEmpty());
    bench.jump(5001ms);
    bench.turn();
    EXPECT_EQ(bench.logged<clock_gap>().size(), 1u);
}

TEST_F(bench_tool, a_clock_that_goes_back_ends_nobody) {
    bench.reports(device_a, report(13, 1));
    bench.pass(29min);
    bench.jump(-20min);
    bench.turn();
    bench.pass(59s);
    EXPECT_EQ(ended(), 0u);
    bench.pass(1s);
    EXPECT_EQ(ended(), 1u);
}

} // namespace
} // namespace vandrel::station
