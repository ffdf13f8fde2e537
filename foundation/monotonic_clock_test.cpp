#include "foundation/monotonic_clock.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using namespace vandrel;

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

TEST(deadline_after, a_timeout_is_added_to_the_present) {
    EXPECT_EQ(deadline_after(5, 3'000'000'000), 3'000'000'005);
}

TEST(deadline_after, no_timeout_ends_at_once) {
    EXPECT_EQ(deadline_after(1234, 0), 1234);
}

TEST(deadline_after, a_negative_timeout_ends_at_once) {
    EXPECT_EQ(deadline_after(1234, -1), 1234);
    EXPECT_EQ(deadline_after(1234, std::numeric_limits<std::int64_t>::min()), 1234);
}

TEST(deadline_after, a_very_large_timeout_does_not_overflow) {
    EXPECT_EQ(deadline_after(1234, latest), latest);
    EXPECT_EQ(deadline_after(1234, latest - 1233), latest);
    EXPECT_EQ(deadline_after(1234, latest - 1234), latest);
    EXPECT_EQ(deadline_after(1234, latest - 1235), latest - 1);
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
