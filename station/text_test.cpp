#include "station/text.h"

#include <gtest/gtest.h>

namespace vandrel::station {
namespace {

TEST(display_width, is_that_of_a_terminal) {
    EXPECT_EQ(display_width(""), 0U);
    EXPECT_EQ(display_width("A1"), 2U);
    EXPECT_EQ(display_width("Стол"), 4U);
    // The last character of one range, and the first behind another.
    EXPECT_EQ(display_width("左1"), 3U);
    EXPECT_EQ(display_width("\xED\x9E\xA3"), 2U);
    EXPECT_EQ(display_width("\xED\x9E\xA4"), 1U);
    EXPECT_EQ(display_width("e\xCC\x81"), 1U);
    EXPECT_EQ(display_width("📱"), 2U);
    EXPECT_EQ(display_width("\xEF\xBF\xBD"), 1U);
}

TEST(a_fitted_text, is_cut_or_filled_up) {
    EXPECT_EQ(fitted("A1", 4), "A1  ");
    EXPECT_EQ(fitted("Restoring image", 9), "Restoring");
    EXPECT_EQ(fitted("", 2), "  ");
    EXPECT_EQ(fitted("A1", 0), "");
}

TEST(a_fitted_text, has_no_half_of_a_wide_character) {
    EXPECT_EQ(fitted("左右", 3), "左 ");
    EXPECT_EQ(fitted("e\xCC\x81x", 1), "e\xCC\x81");
}

TEST(a_duration, has_hours_only_if_there_is_one) {
    EXPECT_EQ(minutes_seconds(std::chrono::seconds(0)), "00:00");
    EXPECT_EQ(minutes_seconds(std::chrono::milliseconds(3599999)), "59:59");
    EXPECT_EQ(minutes_seconds(std::chrono::seconds(3723)), "1:02:03");
}

} // namespace
} // namespace vandrel::station
