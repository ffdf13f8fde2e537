#include "station/outcome.h"
#include "station/test_bench.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vandrel::station {
namespace {

using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;

TEST(exit_status, is_0_when_all_is_done) {
    EXPECT_EQ(exit_status_of({}), 0);
}

TEST(exit_status, is_the_first_that_applies) {
    outcome everything;
    everything.refused = true;
    everything.cannot_work = true;
    everything.nothing_fits = true;
    everything.cancelled = true;
    everything.all_done = false;
    everything.log_incomplete = true;
    EXPECT_EQ(exit_status_of(everything), 2);
    everything.refused = false;
    EXPECT_EQ(exit_status_of(everything), 4);
    everything.cannot_work = false;
    EXPECT_EQ(exit_status_of(everything), 3);
    everything.nothing_fits = false;
    EXPECT_EQ(exit_status_of(everything), 130);
    everything.cancelled = false;
    EXPECT_EQ(exit_status_of(everything), 1);
    everything.all_done = true;
    EXPECT_EQ(exit_status_of(everything), 5);
}

TEST(exit_status, of_a_cancelled_run_that_did_everything_is_not_130) {
    outcome done;
    done.cancelled = true;
    EXPECT_EQ(exit_status_of(done), 0);
    done.log_incomplete = true;
    EXPECT_EQ(exit_status_of(done), 5);
}

/// Two devices under way and one that waits.
class bench_cancel : public testing::Test {
protected:
    static bench_options options() {
        bench_options result = all_devices();
        result.at_once = 2;
        return result;
    }

    void SetUp() override {
        bench.attach(device_a);
        bench.attach(device_b);
        bench.attach(device_c);
        bench.turn();
    }

    std::vector<std::string> ended() const {
        std::vector<std::string> result;
        for (const end_tool& end : bench.decided<end_tool>()) {
            result.push_back(end.ecid);
        }
        return result;
    }

    bench_under_test bench{options()};
};

TEST_F(bench_cancel, once_begins_no_new_device_and_lets_running_ones_go_on) {
    bench.turn({user_cancelled{}});
    ASSERT_EQ(bench.logged<cancel>().size(), 1u);
    EXPECT_EQ(bench.logged<cancel>()[0].stage, 1);
    EXPECT_THAT(ended(), IsEmpty());
    bench.restores(device_a);
    EXPECT_THAT(bench.started(), ElementsAre(device_a, device_b));
    EXPECT_FALSE(bench.over());
    bench.restores(device_b);
    EXPECT_EQ(bench.state(device_c), final_state::cancelled);
    EXPECT_EQ(bench.totals(), (counts{3, 2, 0, 0, 0, 1, 0, 0}));
    EXPECT_EQ(bench.exit_status(), 130);
}

TEST(bench_cancelled, run_that_did_everything_is_status_0) {
    bench_under_test bench(all_devices());
    bench.attach(device_a);
    bench.turn();
    bench.turn({user_cancelled{}});
    bench.restores(device_a);
    EXPECT_EQ(bench.exit_status(), 0);
}

TEST(bench_cancelled, run_does_not_try_again) {
    bench_options options = all_devices();
    options.retries = 3;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.attach(device_b);
    bench.turn();
    bench.fails(device_a);
    bench.turn({user_cancelled{}});
    EXPECT_EQ(bench.reason(device_a), end_reason::device_error);
    bench.fails(device_b);
    EXPECT_FALSE(bench.logged<try_ended>(device_b)[0].will_retry);
    EXPECT_EQ(bench.exit_status(), 130);
}

TEST_F(bench_cancel, ends_no_tool_whose_end_comes_in_the_same_turn) {
    bench.turn({user_cancelled{}});
    bench.turn({user_cancelled{}, process_ended{bench.tool(device_a), 0}});
    EXPECT_THAT(ended(), ElementsAre(device_b));
}

TEST_F(bench_cancel, twice_ends_the_tools) {
    bench.turn({user_cancelled{}});
    bench.turn({user_cancelled{}});
    EXPECT_THAT(ended(), ElementsAre(device_a, device_b));
    EXPECT_EQ(bench.decided<end_tool>()[0].why, end_tool_why::user);
    EXPECT_THAT(bench.logged<cancel>()[1].writing_firmware, IsEmpty());
    EXPECT_FALSE(bench.over());
    bench.ends(device_a, 1);
    bench.ends(device_b, 1);
    EXPECT_EQ(bench.totals(), (counts{3, 0, 0, 0, 0, 3, 0, 0}));
    EXPECT_EQ(bench.exit_status(), 130);
}

TEST_F(bench_cancel, twice_names_the_devices_that_write_firmware_and_leaves_them) {
    bench.reports(device_a, report(18, 1));
    bench.turn({user_cancelled{}});
    bench.turn({user_cancelled{}});
    EXPECT_THAT(ended(), ElementsAre(device_b));
    EXPECT_EQ(bench.logged<cancel>()[1].stage, 2);
    EXPECT_THAT(bench.logged<cancel>()[1].writing_firmware,
                ElementsAre(Field(&event_device::ecid, device_a)));
    bench.ends(device_b, 1);
    bench.pass(1h);
    EXPECT_THAT(ended(), ElementsAre(device_b));
    bench.restores(device_a);
    EXPECT_EQ(bench.state(device_a), final_state::restored);
}

TEST_F(bench_cancel, a_third_time_within_ten_seconds_ends_also_those) {
    bench.reports(device_a, report(18, 1));
    bench.turn({user_cancelled{}, user_cancelled{}});
    bench.pass(10s);
    bench.turn({user_cancelled{}});
    EXPECT_THAT(ended(), ElementsAre(device_b, device_a));
    EXPECT_EQ(bench.logged<cancel>()[2].stage, 3);
}

TEST_F(bench_cancel, a_third_time_later_asks_again) {
    bench.reports(device_a, report(18, 1));
    bench.turn({user_cancelled{}, user_cancelled{}});
    bench.pass(10s + 250ms);
    bench.turn({user_cancelled{}});
    EXPECT_THAT(ended(), ElementsAre(device_b));
    EXPECT_EQ(bench.logged<cancel>()[2].stage, 2);
    EXPECT_THAT(bench.logged<cancel>()[2].writing_firmware,
                ElementsAre(Field(&event_device::ecid, device_a)));
    bench.turn({user_cancelled{}});
    EXPECT_THAT(ended(), ElementsAre(device_b, device_a));
}

TEST_F(bench_cancel, ends_no_tool_twice) {
    bench.turn({user_cancelled{}, user_cancelled{}, user_cancelled{}, user_cancelled{}});
    EXPECT_EQ(ended().size(), 2u);
}

TEST_F(bench_cancel, of_a_tool_that_does_not_go_ends_the_run_all_the_same) {
    bench.turn({user_cancelled{}, user_cancelled{}});
    bench.pass(30s);
    EXPECT_EQ(bench.decided<give_up_tool>().size(), 2u);
    EXPECT_EQ(bench.exit_status(), 130);
}

TEST(bench_cancelled, question_is_no_consent) {
    bench_options options = all_devices();
    options.yes = false;
    options.terminal = true;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.turn();
    bench.turn({user_cancelled{}});
    EXPECT_EQ(bench.exit_status(), 2);
    EXPECT_THAT(bench.started(), IsEmpty());
}

TEST(bench_cancelled, first_list_is_status_130) {
    bench_under_test bench(all_devices());
    bench.lists_are_answered = false;
    bench.turn();
    bench.turn({user_cancelled{}});
    EXPECT_EQ(bench.exit_status(), 130);
    EXPECT_EQ(bench.decided<end_list>().size(), 1u);
}

TEST(bench_cancelled, watch_ends_normally_when_nothing_was_cut_short) {
    bench_under_test bench(watch());
    bench.attach(device_a);
    bench.turn();
    bench.restores(device_a);
    bench.turn({user_cancelled{}});
    EXPECT_EQ(bench.exit_status(), 0);
}

TEST_F(bench_cancel, the_end_of_the_session_ends_the_run_at_once) {
    bench.reports(device_a, report(18, 1));
    bench.turn({session_ends{}});
    EXPECT_THAT(ended(), ElementsAre(device_a, device_b));
    ASSERT_TRUE(bench.over());
    EXPECT_EQ(bench.totals(), (counts{3, 0, 0, 0, 0, 3, 0, 0}));
    EXPECT_EQ(bench.exit_status(), 130);
    EXPECT_THAT(bench.decided<tool_over>(), IsEmpty());
}

TEST_F(bench_cancel, the_end_of_the_session_keeps_what_is_restored) {
    bench.turn(
        {session_ends{}, report_arrived{bench.tool(device_a), report(0, 100, "Successful")}});
    EXPECT_EQ(bench.state(device_a), final_state::restored);
}

TEST(bench_end, decides_nothing_any_more) {
    bench_under_test bench(all_devices());
    bench.attach(device_a);
    bench.turn();
    bench.restores(device_a);
    ASSERT_TRUE(bench.over());
    bench.forget();
    bench.turn({usb_arrival{}, user_cancelled{}, session_ends{}, log_has_hole{""}});
    bench.pass(1h);
    EXPECT_THAT(bench.events(), IsEmpty());
    EXPECT_FALSE(bench.over());
}

TEST(bench_end, an_incomplete_log_is_one_event_and_status_5) {
    bench_under_test bench(all_devices());
    bench.attach(device_a);
    bench.turn();
    bench.turn({log_has_hole{"disk full"}, log_has_hole{"disk full"}});
    bench.restores(device_a);
    ASSERT_EQ(bench.logged<log_incomplete>().size(), 1u);
    EXPECT_EQ(bench.logged<log_incomplete>()[0].text, "disk full");
    EXPECT_EQ(bench.exit_status(), 5);
}

class bench_with_a_slow_record : public testing::Test {
protected:
    bench_with_a_slow_record() {
        bench.record_is_written = false;
        bench.attach(device_a);
        bench.turn();
        bench.restores(device_a);
    }

    bench_under_test bench{all_devices()};
};

TEST_F(bench_with_a_slow_record, a_run_is_over_once_its_record_is_written) {
    EXPECT_EQ(bench.decided<write_record>().size(), 1u);
    bench.pass(1min);
    EXPECT_THAT(bench.logged<run_ended>(), IsEmpty());
    EXPECT_FALSE(bench.over());
    bench.turn({record_written{}});
    EXPECT_EQ(bench.logged<run_ended>().size(), 1u);
    EXPECT_EQ(bench.exit_status(), 0);
}

TEST_F(bench_with_a_slow_record, a_hole_in_the_last_lines_is_still_an_event_and_status_5) {
    bench.turn({log_has_hole{"disk full"}, record_written{}});
    ASSERT_EQ(bench.logged<log_incomplete>().size(), 1u);
    EXPECT_EQ(bench.logged<log_incomplete>()[0].text, "disk full");
    EXPECT_EQ(bench.logged<run_ended>().at(0).exit_status, 5);
    EXPECT_EQ(bench.exit_status(), 5);
}

TEST_F(bench_with_a_slow_record, nothing_else_counts_any_more) {
    bench.attach(device_b);
    bench.turn({usb_arrival{}, user_cancelled{}, user_cancelled{}});
    bench.pass(1min);
    bench.turn({record_written{}});
    EXPECT_THAT(bench.logged<cancel>(), IsEmpty());
    EXPECT_EQ(bench.started(), std::vector{device_a});
    EXPECT_EQ(bench.exit_status(), 0);
}

TEST_F(bench_with_a_slow_record, the_end_of_the_session_does_not_wait_for_the_record) {
    bench.turn({session_ends{}});
    EXPECT_TRUE(bench.over());
    EXPECT_EQ(bench.exit_status(), 0);
}

TEST(bench_end, the_end_of_the_session_waits_for_the_record_once) {
    bench_under_test bench(all_devices());
    bench.record_is_written = false;
    bench.attach(device_a);
    bench.turn();
    bench.turn({session_ends{}});
    bench.turn();
    EXPECT_EQ(bench.decided<write_record>().size(), 1u);
    EXPECT_FALSE(bench.over());
    bench.turn({record_written{}});
    EXPECT_EQ(bench.exit_status(), 130);
}

TEST(bench_end, a_device_left_alone_counts_only_when_it_was_named) {
    for (const auto& [named, status] : {std::pair(false, 0), std::pair(true, 1)}) {
        bench_options options = all_devices();
        if (named) {
            options.only = {device_b};
        }
        bench_under_test bench(options);
        bench.attach(device_a);
        bench.attach(device_b);
        bench.attached[1].properties->chip_id = 1;
        bench.turn();
        bench.restores(device_a);
        EXPECT_EQ(bench.exit_status(), status);
    }
}

TEST(bench_end, its_counts_add_up_and_are_those_of_the_last_event) {
    bench_options options = all_devices();
    options.ecids = {device_d};
    options.time_limit = 1h;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.attach(device_b);
    bench.attach(device_c);
    bench.attached[2].properties->chip_id = 1;
    bench.turn();
    EXPECT_EQ(bench.totals(), (counts{4, 0, 0, 0, 0, 0, 1, 1}));
    bench.restores(device_a);
    bench.reports(device_b, report(18, 1));
    bench.pass(1h);
    bench.ends(device_b, 1);
    ASSERT_EQ(bench.logged<run_ended>().size(), 1u);
    EXPECT_EQ(bench.logged<run_ended>()[0].totals, (counts{4, 1, 0, 1, 0, 0, 1, 1}));
    EXPECT_EQ(bench.logged<run_ended>()[0].exit_status, 1);
}

TEST(bench_log, numbers_its_events_from_one_without_gaps_and_begins_its_time_at_zero) {
    bench_under_test bench(all_devices());
    bench.attach(device_a);
    bench.turn();
    bench.pass(90s);
    bench.reports(device_a, report(13, 1));
    bench.restores(device_a);
    const std::vector<event> events = bench.events();
    for (std::size_t index = 0; index < events.size(); ++index) {
        EXPECT_EQ(events[index].seq, index + 1);
    }
    EXPECT_TRUE(std::holds_alternative<run_started>(events.front().body));
    EXPECT_EQ(events.front().t, 0s);
    EXPECT_TRUE(std::holds_alternative<run_ended>(events.back().body));
    EXPECT_EQ(events.back().t, 90s);
}

TEST(bench_log, says_which_device_where_and_which_try) {
    bench_under_test bench(all_devices());
    bench.attach(device_a);
    bench.turn();
    bench.reports(device_a, report(13, 1));
    const event found = bench.events()[1];
    ASSERT_TRUE(std::holds_alternative<device_found>(found.body));
    EXPECT_EQ(found.device->try_number, 0);
    const event last = bench.events().back();
    ASSERT_TRUE(std::holds_alternative<operation>(last.body));
    EXPECT_EQ(last.device->ecid, device_a);
    EXPECT_EQ(last.device->slot, "SA");
    EXPECT_EQ(last.device->serial_number, "SERIALAA");
    EXPECT_EQ(last.device->location_id, 0x14110000u);
    EXPECT_EQ(last.device->try_number, 1);
    EXPECT_FALSE(bench.events()[0].device);
}

TEST(bench_log, calls_failures_errors_and_doubts_warnings) {
    bench_under_test bench(all_devices());
    bench.attach(device_a);
    bench.turn();
    bench.reports(device_a, report(13, 1, "Restoring", std::int64_t{9}));
    EXPECT_EQ(bench.events().back().level, event_level::warning);
    bench.reports(device_a, report(13, 1, "Failed"));
    EXPECT_EQ(bench.events().back().level, event_level::error);
    bench.reports(device_a, report(14, 1));
    EXPECT_EQ(bench.events().back().level, event_level::info);
}

} // namespace
} // namespace vandrel::station
