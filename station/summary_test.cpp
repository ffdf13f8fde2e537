#include "station/summary.h"
#include "station/text.h"

#include <gtest/gtest.h>

namespace vandrel::station {

TEST(printable, controls_and_marks_of_direction_are_replaced) {
    EXPECT_EQ(printable("a\x1B[2J\n"), "a\xEF\xBF\xBD[2J\xEF\xBF\xBD");
    EXPECT_EQ(printable("\xE2\x80\xAE"
                        "b\xC2\x9B"),
              "\xEF\xBF\xBD"
              "b\xEF\xBF\xBD");
}

TEST(printable, bytes_of_no_character_are_replaced) {
    EXPECT_EQ(printable("\xC0\xAF"), "\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(printable("\xED\xA0\x80"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(printable("\xC3"), "\xEF\xBF\xBD");
}

TEST(csv_field, is_quoted_where_it_has_to_be) {
    EXPECT_EQ(csv_field("iPhone14,2"), "\"iPhone14,2\"");
    EXPECT_EQ(csv_field("a\"b"), "\"a\"\"b\"");
    EXPECT_EQ(csv_field("plain"), "plain");
}

TEST(csv_field, is_no_formula) {
    EXPECT_EQ(csv_field("=1+1"), "'=1+1");
    EXPECT_EQ(csv_field("-2"), "'-2");
}

} // namespace vandrel::station
