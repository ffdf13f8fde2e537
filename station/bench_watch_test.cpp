#include "station/test_bench.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vandrel::station {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(bench_watch, begins_each_device_that_comes_later) {
    bench_under_test bench(watch());
    bench.turn();
    EXPECT_FALSE(bench.over());
    bench.attach(device_a);
    bench.pass(30s);
    EXPECT_THAT(bench.started(), ElementsAre(device_a));
    EXPECT_EQ(bench.logged<device_found>(device_a).size(), 1u);
    bench.attach(device_b);
    bench.turn({usb_arrival{}});
    bench.pass(5s);
    EXPECT_THAT(bench.started(), ElementsAre(device_a, device_b));
}

TEST(bench_watch, begins_only_what_was_asked_for) {
    bench_options options = watch();
    options.all = false;
    options.ecids = {device_b};
    options.only = {"SERIALCC"};
    bench_under_test bench(options);
    bench.turn();
    for (const std::string& ecid : {device_a, device_b, device_c}) {
        bench.attach(ecid);
    }
    bench.pass(30s);
    EXPECT_THAT(bench.started(), ElementsAre(device_b, device_c));
    EXPECT_THAT(bench.logged<device_found>(device_a), IsEmpty());
}

TEST(bench_watch, leaves_an_unfit_device_that_comes_later_alone_also_when_named) {
    bench_options options = watch();
    options.ecids = {device_a};
    bench_under_test bench(options);
    bench.turn();
    bench.attach(device_a);
    bench.attached[0].properties->chip_id = 1;
    bench.attach(device_b);
    bench.pass(30s);
    EXPECT_EQ(bench.reason(device_a), end_reason::unfit);
    EXPECT_THAT(bench.started(), ElementsAre(device_b));
}

TEST(bench_watch, begins_a_device_whose_properties_come_with_a_later_list) {
    bench_under_test bench(watch());
    bench.attached = {{device_a, {}}};
    bench.turn();
    EXPECT_EQ(bench.reason(device_a), end_reason::unfit);
    bench.attached = {fitting_device(device_a)};
    bench.pass(30s);
    EXPECT_THAT(bench.started(), ElementsAre(device_a));
}

TEST(bench_watch, gets_a_device_whose_other_station_has_gone) {
    bench_under_test bench(watch());
    bench.attach(device_a);
    bench.held = {device_a};
    bench.turn();
    bench.pass(1min);
    EXPECT_EQ(bench.logged<device_left_alone>().size(), 1u);
    bench.held.clear();
    bench.pass(30s);
    EXPECT_THAT(bench.started(), ElementsAre(device_a));
    bench.restores(device_a);
    EXPECT_EQ(bench.state(device_a), final_state::restored);
}

TEST(bench_watch, pays_no_heed_to_where_a_device_is_whose_tool_runs) {
    bench_under_test bench(watch());
    bench.attach(device_a);
    bench.turn();
    bench.detach(device_a);
    bench.pass(5min);
    bench.attach(device_a);
    bench.pass(1min);
    EXPECT_THAT(bench.logged<device_away>(), IsEmpty());
    EXPECT_EQ(bench.logged<device_found>().size(), 1u);
    EXPECT_EQ(bench.started().size(), 1u);
}

/// A watch whose lists come every ten seconds, with one device, whose tool runs.
class bench_visit : public testing::Test {
protected:
    static bench_options options() {
        bench_options result = watch();
        result.poll = 10s;
        return result;
    }

    void SetUp() override {
        bench.attach(device_a);
        bench.turn();
        bench.pass(10s);
    }

    list_id last() const { return bench.decided<start_list>().back().list; }

    bench_under_test bench{options()};
};

TEST_F(bench_visit, does_not_begin_a_failed_device_again) {
    bench.fails(device_a);
    bench.pass(1h);
    EXPECT_EQ(bench.started().size(), 1u);
}

TEST_F(bench_visit, ends_when_the_device_has_been_away_for_sixty_seconds) {
    for (const auto& [away, tools] : {std::pair<awake_time, std::size_t>(59s, 1u),
                                      std::pair<awake_time, std::size_t>(61s, 2u)}) {
        bench_under_test one(options());
        one.attach(device_a);
        one.turn();
        one.pass(10s);
        one.fails(device_a);
        one.detach(device_a);
        while (one.logged<device_away>().empty()) {
            one.pass(250ms);
        }
        one.pass(away - 1s);
        one.attach(device_a);
        one.turn({usb_arrival{}});
        one.pass(1s);
        if (tools == 1) {
            EXPECT_EQ(one.logged<device_back>(device_a).size(), 1u);
        }
        one.pass(1min);
        EXPECT_EQ(one.started().size(), tools);
    }
}

TEST_F(bench_visit, does_not_end_with_one_list_without_the_device) {
    bench_options rare = options();
    rare.poll = 90s;
    bench_under_test one(rare);
    one.attach(device_a);
    one.turn();
    one.fails(device_a);
    one.detach(device_a);
    one.pass(100s);
    EXPECT_EQ(one.logged<device_away>().size(), 1u);
    one.attach(device_a);
    one.pass(90s);
    EXPECT_EQ(one.logged<device_back>().size(), 1u);
    EXPECT_EQ(one.started().size(), 1u);
}

TEST_F(bench_visit, that_is_new_gives_a_failed_device_its_tries_anew) {
    bench_options tries = options();
    tries.retries = 1;
    bench_under_test one(tries);
    one.attach(device_a);
    one.turn();
    one.fails(device_a);
    one.pass(1min);
    one.fails(device_a);
    ASSERT_EQ(one.started().size(), 2u);
    one.detach(device_a);
    one.pass(2min);
    one.attach(device_a);
    one.pass(20s);
    ASSERT_EQ(one.started().size(), 3u);
    EXPECT_EQ(one.decided<start_tool>()[2].try_number, 1);
    EXPECT_EQ(one.decided<start_tool>()[2].visit, 2);
    EXPECT_EQ(one.logged<device_found>(device_a).size(), 2u);
    one.fails(device_a);
    one.pass(1min);
    EXPECT_EQ(one.started().size(), 4u);
    one.restores(device_a);
    one.turn({user_cancelled{}});
    EXPECT_EQ(one.totals(), (counts{1, 1, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(one.exit_status(), 0);
}

TEST_F(bench_visit, of_a_restored_device_that_is_back_within_ten_minutes_is_no_new_one) {
    bench.restores(device_a);
    bench.detach(device_a);
    bench.pass(9min);
    bench.attach(device_a);
    bench.pass(10s);
    EXPECT_EQ(bench.state(device_a), final_state::failed);
    EXPECT_EQ(bench.reason(device_a), end_reason::came_back);
    bench.detach(device_a);
    bench.pass(1h);
    bench.attach(device_a);
    bench.pass(1h);
    EXPECT_EQ(bench.started().size(), 1u);
    bench.turn({user_cancelled{}});
    EXPECT_EQ(bench.totals().failed, 1u);
    EXPECT_EQ(bench.exit_status(), 130);
}

TEST_F(bench_visit, of_a_restored_device_that_is_back_before_its_visit_ended_is_no_new_one) {
    bench.restores(device_a);
    bench.detach(device_a);
    bench.pass(10s);
    bench.attach(device_a);
    bench.pass(10s);
    EXPECT_EQ(bench.reason(device_a), end_reason::came_back);
}

TEST_F(bench_visit, of_a_restored_device_that_is_back_later_is_a_new_one) {
    bench.restores(device_a);
    bench.detach(device_a);
    bench.pass(10min + 1s);
    bench.attach(device_a);
    bench.pass(20s);
    EXPECT_THAT(bench.started(), ElementsAre(device_a, device_a));
    EXPECT_EQ(bench.decided<start_tool>()[1].visit, 2);
}

TEST_F(bench_visit, of_a_restored_device_that_never_leaves_is_no_new_one) {
    bench.restores(device_a);
    bench.pass(50s);
    EXPECT_EQ(bench.state(device_a), final_state::restored);
    bench.pass(10s);
    EXPECT_EQ(bench.state(device_a), final_state::failed);
    EXPECT_EQ(bench.reason(device_a), end_reason::came_back);
    bench.pass(1h);
    EXPECT_EQ(bench.started().size(), 1u);
    EXPECT_EQ(bench.logged<device_ended>(device_a).size(), 2u);
}

TEST_F(bench_visit, of_a_restored_device_goes_on_until_two_lists_have_shown_it) {
    bench_options rare = options();
    rare.poll = 5min;
    bench_under_test one(rare);
    one.attach(device_a);
    one.turn();
    one.restores(device_a);
    one.pass(5min);
    EXPECT_EQ(one.state(device_a), final_state::restored);
    one.pass(5min);
    EXPECT_EQ(one.reason(device_a), end_reason::came_back);
}

TEST_F(bench_visit, of_a_restored_device_goes_on_until_a_list_is_begun_a_minute_later) {
    bench.restores(device_a);
    bench.pass(50s);
    bench.lists_are_answered = false;
    bench.pass(9s + 750ms);
    bench.turn({usb_arrival{}});
    const list_id early = last();
    bench.pass(10s);
    bench.turn({list_arrived{early, bench.attached}});
    EXPECT_EQ(bench.state(device_a), final_state::restored);
}

TEST_F(bench_visit, of_a_restored_device_that_was_away_for_one_list_goes_on) {
    bench.restores(device_a);
    bench.detach(device_a);
    bench.pass(10s);
    ASSERT_EQ(bench.logged<device_away>().size(), 1u);
    bench.lists_are_answered = false;
    bench.pass(10s);
    for (int i = 0; i < 12; ++i) {
        bench.pass(1min);
        bench.turn({list_not_had{last(), list_failure::no_list, ""}});
    }
    bench.lists_are_answered = true;
    bench.attach(device_a);
    bench.turn({list_not_had{last(), list_failure::no_list, ""}});
    bench.pass(2min);
    EXPECT_EQ(bench.logged<device_back>().size(), 1u);
    EXPECT_EQ(bench.state(device_a), final_state::restored);
}

TEST_F(bench_visit, locks_the_device_anew) {
    bench.fails(device_a);
    bench.detach(device_a);
    bench.pass(2min);
    bench.attach(device_a);
    bench.pass(20s);
    EXPECT_EQ(bench.decided<lock_device>().size(), 2u);
}

TEST(bench_watch, does_not_begin_a_waiting_device_while_it_is_away) {
    bench_options options = watch();
    options.at_once = 1;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.attach(device_b);
    bench.turn();
    bench.detach(device_b);
    bench.pass(40s);
    EXPECT_EQ(bench.logged<device_away>(device_b).size(), 1u);
    bench.restores(device_a);
    EXPECT_THAT(bench.started(), ElementsAre(device_a));
    bench.attach(device_b);
    bench.pass(40s);
    EXPECT_THAT(bench.started(), ElementsAre(device_a, device_b));
}

TEST(bench_watch, begins_no_more_than_count_devices_and_ends) {
    bench_options options = watch();
    options.count = 2;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.turn();
    bench.fails(device_a);
    bench.attach(device_b);
    bench.attach(device_c);
    bench.pass(30s);
    EXPECT_THAT(bench.started(), ElementsAre(device_a, device_b));
    EXPECT_FALSE(bench.over());
    bench.restores(device_b);
    ASSERT_TRUE(bench.over());
    EXPECT_EQ(bench.reason(device_c), end_reason::watch_over);
    EXPECT_EQ(bench.totals(), (counts{3, 1, 1, 0, 0, 0, 0, 1}));
    EXPECT_EQ(bench.exit_status(), 1);
}

TEST(bench_watch, begins_no_device_after_its_time_and_ends_with_the_running_ones) {
    bench_options options = watch();
    options.watch_time = 10min;
    bench_under_test bench(options);
    bench.turn();
    bench.pass(9min);
    bench.attach(device_a);
    bench.pass(30s);
    bench.pass(29s + 750ms);
    bench.pass(250ms);
    bench.attach(device_b);
    bench.pass(5min);
    EXPECT_THAT(bench.started(), ElementsAre(device_a));
    EXPECT_FALSE(bench.over());
    bench.restores(device_a);
    EXPECT_EQ(bench.exit_status(), 0);
}

TEST(bench_watch, ends_at_its_time_when_nothing_runs) {
    bench_options options = watch();
    options.watch_time = 10min;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.turn();
    bench.restores(device_a);
    bench.detach(device_a);
    bench.pass(9min + 59s);
    EXPECT_FALSE(bench.over());
    bench.pass(1s);
    EXPECT_EQ(bench.exit_status(), 0);
}

TEST(bench_watch, in_which_no_device_came_is_status_3) {
    bench_options options = watch();
    options.watch_time = 10min;
    bench_under_test bench(options);
    bench.turn();
    bench.pass(10min);
    EXPECT_EQ(bench.exit_status(), 3);
}

TEST(bench_watch, reports_named_devices_that_never_came_at_its_end) {
    bench_options options = watch();
    options.ecids = {device_b};
    options.watch_time = 10min;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.turn();
    bench.restores(device_a);
    EXPECT_EQ(bench.totals().missing, 0u);
    bench.pass(10min);
    EXPECT_EQ(bench.state(device_b), final_state::missing);
    EXPECT_EQ(bench.exit_status(), 1);
}

TEST(bench_watch, finishes_the_retries_of_devices_that_were_begun) {
    bench_options options = watch();
    options.count = 1;
    options.retries = 1;
    options.poll = 5s;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.turn();
    bench.fails(device_a);
    bench.pass(1min);
    EXPECT_EQ(bench.started().size(), 2u);
}

} // namespace
} // namespace vandrel::station
