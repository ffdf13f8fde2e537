#include "station/test_bench.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vandrel::station {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::size_t lists(const bench_under_test& bench) {
    return bench.decided<start_list>().size();
}

/// The last list that was asked for.
list_id last(const bench_under_test& bench) {
    return bench.decided<start_list>().back().list;
}

TEST(bench_lists, are_one_without_a_watch) {
    bench_under_test bench(all_devices());
    bench.attach(device_a);
    bench.turn();
    bench.pass(10min);
    bench.turn({usb_arrival{}});
    bench.pass(10min);
    EXPECT_EQ(lists(bench), 1u);
}

TEST(bench_lists, come_every_poll_in_a_watch) {
    bench_under_test bench(watch());
    bench.turn();
    EXPECT_EQ(lists(bench), 1u);
    bench.pass(29s + 750ms);
    EXPECT_EQ(lists(bench), 1u);
    bench.pass(250ms);
    EXPECT_EQ(lists(bench), 2u);
    bench.pass(30s);
    EXPECT_EQ(lists(bench), 3u);
}

TEST(bench_lists, come_at_once_with_a_usb_arrival) {
    bench_under_test bench(watch());
    bench.turn();
    bench.pass(7s);
    bench.turn({usb_arrival{}});
    EXPECT_EQ(lists(bench), 2u);
}

TEST(bench_lists, are_never_two_at_a_time) {
    bench_under_test bench(watch());
    bench.turn();
    bench.lists_are_answered = false;
    bench.turn({usb_arrival{}});
    ASSERT_EQ(lists(bench), 2u);
    bench.turn({usb_arrival{}});
    bench.pass(20s);
    EXPECT_EQ(lists(bench), 2u);
    bench.turn({list_arrived{last(bench), {}}});
    EXPECT_EQ(lists(bench), 3u);
}

TEST(bench_lists, never_come_within_five_seconds_of_a_tools_start) {
    bench_options options = watch();
    options.poll = 1s;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.turn();
    ASSERT_EQ(bench.started().size(), 1u);
    bench.turn({usb_arrival{}});
    bench.pass(4s + 750ms);
    EXPECT_EQ(lists(bench), 1u);
    bench.pass(250ms);
    EXPECT_EQ(lists(bench), 2u);
}

TEST(bench_lists, keep_tools_from_being_started_while_they_are_under_way) {
    bench_options options = watch();
    options.at_once = 1;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.attach(device_b);
    bench.turn();
    bench.lists_are_answered = false;
    bench.pass(30s);
    bench.restores(device_a);
    EXPECT_THAT(bench.started(), ElementsAre(device_a));
    bench.turn({list_arrived{last(bench), bench.attached}});
    EXPECT_THAT(bench.started(), ElementsAre(device_a, device_b));
}

TEST(bench_lists, let_the_device_that_one_brought_be_begun_before_the_next) {
    bench_under_test bench(watch());
    bench.turn();
    bench.lists_are_answered = false;
    bench.turn({usb_arrival{}});
    bench.turn({usb_arrival{}, list_arrived{last(bench), {fitting_device(device_a)}}});
    EXPECT_THAT(bench.started(), ElementsAre(device_a));
    EXPECT_EQ(lists(bench), 2u);
}

TEST(bench_lists, are_ended_after_thirty_seconds) {
    bench_under_test bench(watch());
    bench.turn();
    bench.lists_are_answered = false;
    bench.pass(30s);
    ASSERT_EQ(lists(bench), 2u);
    bench.pass(29s + 750ms);
    EXPECT_THAT(bench.decided<end_list>(), IsEmpty());
    bench.pass(250ms);
    ASSERT_EQ(bench.decided<end_list>().size(), 1u);
    EXPECT_EQ(bench.decided<end_list>()[0].list, last(bench));
    ASSERT_EQ(bench.logged<list_failed>().size(), 1u);
    EXPECT_EQ(bench.logged<list_failed>()[0].why, list_failure::timed_out);
}

TEST(bench_lists, wait_for_one_that_was_ended_to_go) {
    bench_under_test bench(watch());
    bench.turn();
    bench.lists_are_answered = false;
    bench.pass(1min);
    ASSERT_EQ(bench.decided<end_list>().size(), 1u);
    bench.pass(20s);
    EXPECT_EQ(lists(bench), 2u);
    bench.turn({list_not_had{last(bench), list_failure::no_list, ""}});
    EXPECT_EQ(lists(bench), 3u);
    EXPECT_EQ(bench.logged<list_failed>().size(), 1u);
}

TEST(bench_lists, wait_no_longer_than_thirty_seconds_for_one_that_was_ended) {
    bench_under_test bench(watch());
    bench.turn();
    bench.lists_are_answered = false;
    bench.pass(1min);
    bench.pass(29s + 750ms);
    EXPECT_EQ(lists(bench), 2u);
    bench.pass(250ms);
    EXPECT_EQ(lists(bench), 3u);
}

TEST(bench_lists, have_thirty_seconds_from_their_last_progress) {
    bench_under_test bench(watch());
    bench.turn();
    bench.lists_are_answered = false;
    bench.pass(30s);
    bench.pass(29s);
    bench.turn({list_continued{last(bench)}});
    bench.pass(29s);
    EXPECT_THAT(bench.decided<end_list>(), IsEmpty());
    bench.pass(1s);
    EXPECT_EQ(bench.decided<end_list>().size(), 1u);
}

TEST(bench_lists, ask_for_no_properties_that_are_known_or_of_devices_under_way) {
    bench_under_test bench(watch());
    bench.attach(device_a);
    bench.attach(device_b);
    bench.attached.push_back({device_c, {}});
    bench.turn();
    EXPECT_THAT(bench.decided<start_list>()[0].without_properties, IsEmpty());
    bench.detach(device_a);
    bench.pass(30s);
    EXPECT_THAT(bench.decided<start_list>()[1].without_properties, ElementsAre(device_a, device_b));
    bench.restores(device_a);
    bench.pass(30s);
    EXPECT_THAT(bench.decided<start_list>()[2].without_properties, ElementsAre(device_b));
}

TEST(bench_lists, the_first_one_failing_is_status_4) {
    for (const list_failure why :
         {list_failure::not_started, list_failure::no_list, list_failure::broken}) {
        bench_under_test bench(watch());
        bench.lists_are_answered = false;
        bench.turn();
        bench.turn({list_not_had{last(bench), why, "no libraries"}});
        EXPECT_EQ(bench.exit_status(), 4);
        ASSERT_EQ(bench.logged<list_failed>().size(), 1u);
        EXPECT_EQ(bench.logged<list_failed>()[0].why, why);
        EXPECT_EQ(bench.logged<list_failed>()[0].text, "no libraries");
    }
}

TEST(bench_lists, the_first_one_hanging_is_status_4) {
    bench_under_test bench(all_devices());
    bench.lists_are_answered = false;
    bench.turn();
    bench.pass(30s);
    EXPECT_EQ(bench.decided<end_list>().size(), 1u);
    EXPECT_EQ(bench.exit_status(), 4);
}

/// A watch in which A runs while B waits to be begun.
class bench_failed_list : public testing::Test {
protected:
    static bench_options options() {
        bench_options result = watch();
        result.at_once = 1;
        return result;
    }

    void SetUp() override {
        bench.attach(device_a);
        bench.attach(device_b);
        bench.turn();
        bench.lists_are_answered = false;
        bench.pass(30s);
    }

    void nobody_left() {
        bench.restores(device_a);
        EXPECT_THAT(bench.started(), ElementsAre(device_a, device_b));
        EXPECT_THAT(bench.logged<device_away>(), IsEmpty());
    }

    bench_under_test bench{options()};
};

TEST_F(bench_failed_list, changes_nothing) {
    bench.turn({list_not_had{last(bench), list_failure::no_list, ""}});
    EXPECT_EQ(bench.logged<list_failed>().size(), 1u);
    nobody_left();
}

TEST_F(bench_failed_list, with_a_text_that_is_no_ecid_changes_nothing) {
    bench.turn({list_arrived{last(bench), {{"G", {}}, fitting_device(device_c)}}});
    ASSERT_EQ(bench.logged<list_failed>().size(), 1u);
    EXPECT_EQ(bench.logged<list_failed>()[0].why, list_failure::broken);
    EXPECT_THAT(bench.logged<device_found>(device_c), IsEmpty());
    nobody_left();
}

TEST_F(bench_failed_list, with_an_ecid_twice_changes_nothing) {
    bench.turn({list_arrived{last(bench), {{"CC", {}}, fitting_device(device_c)}}});
    ASSERT_EQ(bench.logged<list_failed>().size(), 1u);
    EXPECT_EQ(bench.logged<list_failed>()[0].why, list_failure::duplicate_ecid);
    EXPECT_THAT(bench.logged<device_found>(device_c), IsEmpty());
    nobody_left();
}

TEST_F(bench_failed_list, that_was_ended_changes_nothing_when_it_comes_after_all) {
    bench.pass(30s);
    ASSERT_EQ(bench.decided<end_list>().size(), 1u);
    bench.turn({list_arrived{last(bench), {}}});
    bench.turn({list_not_had{last(bench), list_failure::no_list, ""}});
    nobody_left();
}

TEST_F(bench_failed_list, is_followed_by_the_next_after_a_poll) {
    bench.turn({list_not_had{last(bench), list_failure::no_list, ""}});
    const std::size_t before = lists(bench);
    bench.pass(29s);
    EXPECT_EQ(lists(bench), before);
    bench.pass(1s);
    EXPECT_EQ(lists(bench), before + 1);
}

} // namespace
} // namespace vandrel::station
