#include "foundation/monotonic_clock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>

namespace {

using namespace vandrel;
using namespace std::chrono_literals;

constexpr std::int64_t latest = std::numeric_limits<std::int64_t>::max();

TEST(ticks_to_nanoseconds, ten_megahertz_ticks_are_a_hundred_nanoseconds_each) {
    EXPECT_EQ(ticks_to_nanoseconds(12'345'678'901, 10'000'000), 1'234'567'890'100);
}

TEST(ticks_to_nanoseconds, twenty_four_megahertz_ticks_lose_less_than_a_nanosecond) {
    EXPECT_EQ(ticks_to_nanoseconds(24'000'001, 24'000'000), 1'000'000'041);
    EXPECT_EQ(ticks_to_nanoseconds(47'999'999, 24'000'000), 1'999'999'958);
}

TEST(ticks_to_nanoseconds, any_other_frequency_is_split_into_seconds_and_a_rest) {
    EXPECT_EQ(ticks_to_nanoseconds(7'159'091, 3'579'545), 2'000'000'279);
}

TEST(ticks_to_nanoseconds, years_of_uptime_do_not_overflow_on_the_way) {
    // 100 years at 24 MHz: the count times a thousand million would not fit.
    EXPECT_EQ(ticks_to_nanoseconds(75'738'240'000'000'000, 24'000'000), 3'155'760'000'000'000'000);
    EXPECT_EQ(ticks_to_nanoseconds(3'155'760'000'000'000'000, 1'000'000'000),
              3'155'760'000'000'000'000);
}

constexpr auto an_hour = 3600s;

TEST(deadline, what_remains_shrinks_to_nothing) {
    const deadline end(3'000'000'000, 5);
    EXPECT_EQ(end.remaining(5), 3s);
    EXPECT_EQ(end.remaining(1'000'000'005), 2s);
    EXPECT_EQ(end.remaining(3'000'000'004), 1ns);
    EXPECT_EQ(end.remaining(3'000'000'005), 0ns);
    EXPECT_EQ(end.remaining(latest), 0ns);
}

TEST(deadline, no_timeout_ends_at_once) {
    EXPECT_EQ(deadline(0, 1234).remaining(1234), 0ns);
}

TEST(deadline, a_negative_timeout_ends_at_once) {
    EXPECT_EQ(deadline(-1, 1234).remaining(1234), 0ns);
    EXPECT_EQ(deadline(std::numeric_limits<std::int64_t>::min(), 1234).remaining(1234), 0ns);
}

TEST(deadline, a_very_large_timeout_does_not_overflow) {
    for (const std::int64_t timeout : {latest, latest - 1233, latest - 1234}) {
        const deadline end(timeout, 1234);
        EXPECT_EQ(end.remaining(latest - 1), 1ns);
        EXPECT_EQ(end.remaining(latest), 0ns);
    }
    EXPECT_EQ(deadline(latest - 1235, 1234).remaining(latest - 2), 1ns);
    EXPECT_EQ(deadline(latest - 1235, 1234).remaining(latest - 1), 0ns);
}

TEST(deadline, a_single_wait_is_an_hour_at_most) {
    EXPECT_EQ(deadline(latest, 1234).remaining(1234), an_hour);
    EXPECT_EQ(deadline(latest, 1234).remaining(latest - 3'600'000'000'001), an_hour);
    EXPECT_EQ(deadline(latest, 1234).remaining(latest - 3'599'999'999'999), an_hour - 1ns);
}

TEST(whole_seconds, a_fraction_is_cut_off) {
    EXPECT_EQ(whole_seconds(2'999'999'999), 2);
    EXPECT_EQ(whole_seconds(7'200'000'000'000), 7200);
}

TEST(monotonic_now, time_never_goes_back) {
    const std::int64_t earlier = monotonic_now();
    EXPECT_GE(monotonic_now(), earlier);
}

} // namespace
