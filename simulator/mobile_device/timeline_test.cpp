#include "simulator/mobile_device/test_event_log.h"
#include "simulator/mobile_device/timeline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <limits>
#include <memory>
#include <stdexcept>

namespace simulator {

namespace {

using ::testing::ElementsAre;

constexpr double fast = 1e6;
constexpr double never = 1e7;

} // namespace

TEST(timeline, plays_its_steps_in_order) {
    test::event_log<std::size_t> log;
    timeline played(timeline::clock::now(), {0, 1, 1, 5}, fast, [&](std::size_t i) { log.add(i); });
    EXPECT_THAT(log.wait_for(4), ElementsAre(0, 1, 2, 3));
}

TEST(timeline, plays_on_a_thread_of_its_own) {
    test::event_log<std::thread::id> log;
    timeline played(timeline::clock::now(), {0, 0}, fast,
                    [&](std::size_t) { log.add(std::this_thread::get_id()); });
    const auto threads = log.wait_for(2);
    EXPECT_NE(threads[0], std::this_thread::get_id());
    EXPECT_EQ(threads[0], threads[1]);
}

TEST(timeline, plays_no_step_before_its_time) {
    using clock = timeline::clock;
    test::event_log<clock::time_point> log;
    const auto start = clock::now();
    timeline played(start, {5}, 100, [&](std::size_t) { log.add(clock::now()); });
    EXPECT_GE(log.wait_for(1)[0] - start, std::chrono::milliseconds(50));
}

TEST(timeline, counts_times_from_its_start_and_not_from_the_step_before) {
    test::event_log<std::size_t> log;
    timeline played(timeline::clock::now() - std::chrono::hours(1), {1, 1800, 3600}, 1,
                    [&](std::size_t i) { log.add(i); });
    // All are due: counted from the step before, the second would take half an hour.
    EXPECT_THAT(log.wait_for(3), ElementsAre(0, 1, 2));
}

TEST(timeline, starts_no_step_after_it_was_cancelled) {
    test::event_log<std::size_t> log;
    {
        timeline played(timeline::clock::now(), {0, never}, 1, [&](std::size_t i) { log.add(i); });
        log.wait_for(1);
        played.cancel();
    }
    EXPECT_THAT(log.all(), ElementsAre(0));
}

TEST(timeline, can_be_cancelled_by_its_own_step) {
    test::event_log<std::size_t> log;
    std::promise<timeline*> itself;
    {
        timeline played(timeline::clock::now(), {0, 0}, fast, [&](std::size_t i) {
            itself.get_future().get()->cancel();
            log.add(i);
        });
        itself.set_value(&played);
        log.wait_for(1);
    }
    EXPECT_THAT(log.all(), ElementsAre(0));
}

TEST(timeline, ends_after_the_running_step) {
    std::promise<void> entered;
    std::promise<void> release;
    bool ended = false;
    std::thread releaser;
    {
        timeline played(timeline::clock::now(), {0}, fast, [&](std::size_t) {
            entered.set_value();
            release.get_future().wait();
            ended = true;
        });
        entered.get_future().wait();
        releaser = std::thread([&] { release.set_value(); });
    }
    EXPECT_TRUE(ended);
    releaser.join();
}

TEST(timeline, accepts_times_beyond_the_clock_s_range) {
    test::event_log<std::size_t> log;
    {
        timeline played(timeline::clock::now(), {0, std::numeric_limits<double>::max()},
                        std::numeric_limits<double>::min(), [&](std::size_t i) { log.add(i); });
        log.wait_for(1);
    }
    EXPECT_THAT(log.all(), ElementsAre(0));
}

TEST(timeline, can_be_empty) {
    timeline played(timeline::clock::now(), {}, 1, [](std::size_t) { FAIL(); });
}

TEST(timeline, destroys_its_steps_after_the_last_one) {
    std::promise<void> destroyed;
    // The last owner of the value is the timeline.
    auto held = std::shared_ptr<int>(new int(1), [&destroyed](const int* value) {
        delete value;
        destroyed.set_value();
    });
    timeline played(timeline::clock::now(), {0}, fast, [held = std::move(held)](std::size_t) {});
    destroyed.get_future().wait();
}

TEST(timeline, ends_the_process_when_a_step_throws) {
    EXPECT_DEATH(
        {
            timeline played(timeline::clock::now(), {0}, fast,
                            [](std::size_t) { throw std::runtime_error("thrown"); });
            std::promise<void>().get_future().wait();
        },
        "terminate");
}

} // namespace simulator
