#include "station/test_bench.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vandrel::station {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// One device, which may be tried twice, and whose tool runs.
class bench_retry : public testing::Test {
protected:
    static bench_options options() {
        bench_options result = all_devices();
        result.retries = 1;
        result.poll = 10s;
        return result;
    }

    void SetUp() override {
        bench.attach(device_a);
        bench.turn();
    }

    bench_under_test bench{options()};
};

TEST_F(bench_retry, comes_twenty_seconds_after_the_process_when_two_lists_have_shown_the_device) {
    bench.pass(1min);
    bench.fails(device_a);
    EXPECT_TRUE(bench.logged<try_ended>()[0].will_retry);
    EXPECT_THAT(bench.logged<device_ended>(), IsEmpty());
    bench.pass(10s);
    EXPECT_EQ(bench.decided<start_list>().size(), 3u);
    bench.pass(9s + 750ms);
    EXPECT_EQ(bench.started().size(), 1u);
    bench.pass(250ms);
    EXPECT_THAT(bench.started(), ElementsAre(device_a, device_a));
    EXPECT_EQ(bench.decided<start_tool>()[1].try_number, 2);
    EXPECT_NE(bench.decided<start_tool>()[1].tool, bench.decided<start_tool>()[0].tool);
}

TEST_F(bench_retry, counts_from_the_process_and_not_from_the_stream) {
    bench.pass(1min);
    bench.reports(device_a, report(13, 1, "Failed"));
    bench.turn({process_ended{bench.tool(device_a), 0}});
    bench.pass(20s);
    EXPECT_EQ(bench.started().size(), 2u);
}

TEST_F(bench_retry, does_not_come_before_two_lists_have_shown_the_device) {
    bench.pass(1min);
    bench.detach(device_a);
    bench.fails(device_a);
    bench.pass(1min);
    EXPECT_EQ(bench.started().size(), 1u);
    bench.attach(device_a);
    bench.forget();
    while (bench.started().empty()) {
        ASSERT_LE(bench.decided<start_list>().size(), 2u);
        bench.pass(250ms);
    }
    EXPECT_EQ(bench.decided<start_list>().size(), 2u);
}

TEST(bench_retries, count_no_list_that_was_begun_before_the_process_had_gone) {
    bench_options options = watch();
    options.retries = 1;
    options.poll = 18s;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.turn();
    bench.lists_are_answered = false;
    bench.pass(18s);
    const list_id early = bench.decided<start_list>().back().list;
    bench.fails(device_a);
    bench.lists_are_answered = true;
    bench.turn({list_arrived{early, bench.attached}});
    bench.pass(25s);
    EXPECT_EQ(bench.started().size(), 1u);
    bench.pass(15s);
    EXPECT_EQ(bench.started().size(), 2u);
}

TEST_F(bench_retry, is_failed_when_the_device_is_not_back_within_five_minutes) {
    bench.pass(1min);
    bench.detach(device_a);
    bench.fails(device_a);
    bench.pass(5min);
    EXPECT_FALSE(bench.over());
    bench.pass(250ms);
    EXPECT_EQ(bench.state(device_a), final_state::failed);
    EXPECT_EQ(bench.reason(device_a), end_reason::not_back);
    EXPECT_EQ(bench.exit_status(), 1);
    EXPECT_EQ(bench.started().size(), 1u);
}

TEST_F(bench_retry, has_five_minutes_anew_when_the_device_leaves_while_it_waits_for_room) {
    bench_options one = options();
    one.at_once = 1;
    bench_under_test two(one);
    two.attach(device_a);
    two.attach(device_b);
    two.turn();
    two.fails(device_a);
    for (int minute = 0; minute < 6; ++minute) {
        two.reports(device_b, report(13, minute));
        two.pass(1min);
    }
    two.detach(device_a);
    two.pass(10s);
    ASSERT_EQ(two.logged<device_away>(device_a).size(), 1u);
    two.pass(4min + 50s);
    EXPECT_THAT(two.logged<device_ended>(), IsEmpty());
    two.pass(20s);
    EXPECT_EQ(two.reason(device_a), end_reason::not_back);
}

TEST_F(bench_retry, looks_for_the_device_at_least_every_thirty_seconds) {
    bench_options rare = options();
    rare.poll = 10min;
    bench_under_test one(rare);
    one.attach(device_a);
    one.turn();
    one.pass(10s);
    one.fails(device_a);
    one.pass(60s);
    EXPECT_THAT(one.started(), ElementsAre(device_a, device_a));
}

TEST_F(bench_retry, waits_for_room_for_as_long_as_the_device_is_there) {
    bench_options one = options();
    one.at_once = 1;
    bench_under_test two(one);
    two.attach(device_a);
    two.attach(device_b);
    two.turn();
    two.fails(device_a);
    for (int minute = 0; minute < 10; ++minute) {
        two.reports(device_b, report(13, minute));
        two.pass(1min);
    }
    EXPECT_THAT(two.started(), ElementsAre(device_a, device_b));
    two.restores(device_b);
    EXPECT_THAT(two.started(), ElementsAre(device_a, device_b, device_a));
}

TEST_F(bench_retry, is_not_done_more_often_than_asked_for) {
    bench.fails(device_a);
    bench.pass(1min);
    ASSERT_EQ(bench.started().size(), 2u);
    bench.fails(device_a);
    EXPECT_FALSE(bench.logged<try_ended>()[1].will_retry);
    EXPECT_TRUE(bench.over());
    ASSERT_EQ(bench.logged<device_ended>().size(), 1u);
    EXPECT_EQ(bench.logged<device_ended>()[0].tries, 2);
}

TEST_F(bench_retry, that_succeeds_makes_the_device_restored) {
    bench.fails(device_a);
    bench.pass(1min);
    bench.restores(device_a);
    EXPECT_EQ(bench.totals(), (counts{1, 1, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(bench.exit_status(), 0);
}

TEST(bench_retries, are_none_by_default) {
    bench_under_test bench(all_devices());
    bench.attach(device_a);
    bench.turn();
    bench.fails(device_a);
    EXPECT_TRUE(bench.over());
}

TEST_F(bench_retry, keeps_the_lock) {
    bench.fails(device_a);
    bench.pass(1min);
    EXPECT_THAT(bench.decided<unlock_device>(), IsEmpty());
}

TEST(bench_stop, no_new_device_is_begun_after_so_many_failures_in_a_row) {
    bench_options options = all_devices();
    options.at_once = 1;
    options.stop_after = 2;
    bench_under_test bench(options);
    for (const std::string& ecid : {device_a, device_b, device_c}) {
        bench.attach(ecid);
    }
    bench.turn();
    bench.fails(device_a);
    bench.fails(device_b);
    EXPECT_THAT(bench.started(), ElementsAre(device_a, device_b));
    ASSERT_EQ(bench.logged<stopped_after>().size(), 1u);
    EXPECT_EQ(bench.logged<stopped_after>()[0].failures, 2u);
    EXPECT_EQ(bench.reason(device_c), end_reason::stopped);
    EXPECT_EQ(bench.exit_status(), 1);
}

TEST(bench_stop, a_restored_device_ends_the_row) {
    bench_options options = all_devices();
    options.at_once = 1;
    options.stop_after = 2;
    bench_under_test bench(options);
    for (const std::string& ecid : {device_a, device_b, device_c, device_d}) {
        bench.attach(ecid);
    }
    bench.turn();
    bench.fails(device_a);
    bench.restores(device_b);
    bench.fails(device_c);
    EXPECT_THAT(bench.started(), ElementsAre(device_a, device_b, device_c, device_d));
}

TEST(bench_stop, running_tools_go_on) {
    bench_options options = all_devices();
    options.stop_after = 1;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.attach(device_b);
    bench.turn();
    bench.fails(device_a);
    EXPECT_FALSE(bench.over());
    EXPECT_THAT(bench.decided<end_tool>(), IsEmpty());
    bench.restores(device_b);
    EXPECT_EQ(bench.state(device_b), final_state::restored);
}

TEST(bench_stop, is_after_five_by_default_and_can_be_switched_off) {
    for (const auto& [stop_after, begun] : {std::pair(5u, 5u), std::pair(0u, 7u)}) {
        bench_options options = all_devices();
        EXPECT_EQ(options.stop_after, 5u);
        options.at_once = 1;
        options.stop_after = stop_after;
        bench_under_test bench(options);
        for (const char* last : {"1", "2", "3", "4", "5", "6", "7"}) {
            bench.attach(std::string(15, '0') + last);
        }
        bench.turn();
        while (!bench.over()) {
            bench.fails(bench.started().back());
        }
        EXPECT_EQ(bench.started().size(), begun);
        EXPECT_EQ(bench.totals().failed, begun);
        EXPECT_EQ(bench.totals().left_alone, 7u - begun);
    }
}

} // namespace
} // namespace vandrel::station
