#include "simulator/core_foundation/date.h"
#include "simulator/core_foundation/test_objects.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace simulator;
using namespace simulator::test;

TEST(cf_date, holds_its_time) {
    const auto date = make_date(86400.25);
    EXPECT_EQ(CFDateGetAbsoluteTime(date.get()), 86400.25);
    EXPECT_EQ(CFGetTypeID(date.get()), CFDateGetTypeID());
    EXPECT_TRUE(CFEqual(date.get(), make_date(86400.25).get()));
    EXPECT_FALSE(CFEqual(date.get(), make_date(86400.5).get()));
    EXPECT_EQ(description_of(date.get()), "2001-01-02T00:00:00Z");
}

TEST(date_text, counts_from_the_first_day_of_the_millennium) {
    EXPECT_EQ(date_text(0), "2001-01-01T00:00:00Z");
    EXPECT_EQ(date_text(-978307200), "1970-01-01T00:00:00Z");
    EXPECT_EQ(date_text(730944205), "2024-03-01T00:03:25Z");
}

TEST(date_text, fractions_are_rounded_down) {
    EXPECT_EQ(date_text(0.999), "2001-01-01T00:00:00Z");
    EXPECT_EQ(date_text(-0.001), "2000-12-31T23:59:59Z");
}

TEST(date_text, the_last_moment_before_midnight_is_in_the_last_second_of_the_day) {
    EXPECT_EQ(date_text(-1e-300), "2000-12-31T23:59:59Z");
    EXPECT_EQ(date_text(-86400 - 1e-11), "2000-12-30T23:59:59Z");
}

TEST(date_text, years_have_four_digits_or_more) {
    EXPECT_EQ(date_text(-63113904000.0), "0001-01-01T00:00:00Z");
    EXPECT_EQ(date_text(-63145526400.0), "0000-01-01T00:00:00Z");
    EXPECT_EQ(date_text(252423993599.0), "9999-12-31T23:59:59Z");
    EXPECT_EQ(date_text(252423993600.0), "10000-01-01T00:00:00Z");
    EXPECT_EQ(date_text(31556952000000.0), "1002001-01-01T00:00:00Z");
}

TEST(date_text, years_before_0_have_a_minus_sign) {
    EXPECT_EQ(date_text(-63145526401.0), "-001-12-31T23:59:59Z");
    EXPECT_EQ(date_text(-63180000001.0), "-002-11-27T23:59:59Z");
}

TEST(date_text, what_is_no_time_is_no_date_either) {
    for (const double time : {static_cast<double>(NAN), HUGE_VAL, -HUGE_VAL, 1e300, -1e300}) {
        EXPECT_EQ(parse_date(date_text(time)), std::nullopt) << time;
    }
}

TEST(parse_date, reads_what_is_written) {
    EXPECT_EQ(parse_date("2001-01-01T00:00:00Z"), 0.0);
    EXPECT_EQ(parse_date("1970-01-01T00:00:00Z"), -978307200.0);
    EXPECT_EQ(parse_date("2024-03-01T00:03:25Z"), 730944205.0);
}

TEST(parse_date, days_that_are_not_in_the_calendar_are_refused) {
    EXPECT_TRUE(parse_date("2024-02-29T00:00:00Z"));
    EXPECT_EQ(parse_date("2023-02-29T00:00:00Z"), std::nullopt);
    EXPECT_EQ(parse_date("2023-13-01T00:00:00Z"), std::nullopt);
    EXPECT_EQ(parse_date("2023-00-01T00:00:00Z"), std::nullopt);
    EXPECT_EQ(parse_date("2023-01-00T00:00:00Z"), std::nullopt);
}

TEST(parse_date, times_that_are_not_on_the_clock_are_refused) {
    EXPECT_EQ(parse_date("2001-01-01T24:00:00Z"), std::nullopt);
    EXPECT_EQ(parse_date("2001-01-01T00:60:00Z"), std::nullopt);
    EXPECT_EQ(parse_date("2001-01-01T00:00:60Z"), std::nullopt);
}

TEST(parse_date, other_texts_are_refused) {
    EXPECT_EQ(parse_date(""), std::nullopt);
    EXPECT_EQ(parse_date("2001-01-01"), std::nullopt);
    EXPECT_EQ(parse_date("2001-01-01T00:00:00"), std::nullopt);
    EXPECT_EQ(parse_date("2001-01-01 00:00:00Z"), std::nullopt);
    EXPECT_EQ(parse_date("2001-01-01T00:00:0xZ"), std::nullopt);
    EXPECT_EQ(parse_date("12001-01-01T00:00:00Z"), std::nullopt);
}

} // namespace
