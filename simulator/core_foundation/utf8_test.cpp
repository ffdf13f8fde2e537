#include "simulator/core_foundation/utf8.h"

#include <gtest/gtest.h>

namespace {

using namespace simulator;

TEST(utf16_length, characters_up_to_three_bytes_are_one_unit) {
    EXPECT_EQ(utf16_length(""), 0);
    EXPECT_EQ(utf16_length("a"), 1);
    EXPECT_EQ(utf16_length("\xC2\x80"), 1);
    EXPECT_EQ(utf16_length("\xDF\xBF"), 1);
    EXPECT_EQ(utf16_length("\xE0\xA0\x80"), 1);
    EXPECT_EQ(utf16_length("\xED\x9F\xBF"), 1);
    EXPECT_EQ(utf16_length("\xEE\x80\x80"), 1);
    EXPECT_EQ(utf16_length("\xEF\xBF\xBF"), 1);
}

TEST(utf16_length, characters_of_four_bytes_are_two_units) {
    EXPECT_EQ(utf16_length("\xF0\x90\x80\x80"), 2);
    EXPECT_EQ(utf16_length("\xF4\x8F\xBF\xBF"), 2);
    EXPECT_EQ(utf16_length("a\xF0\x9F\x93\xB1z"), 4);
}

TEST(utf16_length, a_character_may_stand_anywhere_in_a_long_text) {
    const std::string digits = "0123456789012345678901234567";
    for (std::size_t place = 0; place <= digits.size(); ++place) {
        SCOPED_TRACE(place);
        EXPECT_EQ(utf16_length(std::string(digits).insert(place, "\xF0\x9F\x93\xB1")), 30);
        EXPECT_EQ(utf16_length(std::string(digits).insert(place, "\xC3\xC3")), std::nullopt);
        EXPECT_EQ(utf16_length(std::string(digits).insert(place, "\x80")), std::nullopt);
    }
    EXPECT_EQ(utf16_length(digits), 28);
}

TEST(utf16_length, a_zero_byte_is_a_character) {
    EXPECT_EQ(utf16_length(std::string_view("a\0b", 3)), 3);
}

TEST(utf16_length, overlong_forms_are_refused) {
    EXPECT_EQ(utf16_length("\xC0\x80"), std::nullopt);
    EXPECT_EQ(utf16_length("\xC1\xBF"), std::nullopt);
    EXPECT_EQ(utf16_length("\xE0\x9F\xBF"), std::nullopt);
    EXPECT_EQ(utf16_length("\xF0\x8F\xBF\xBF"), std::nullopt);
}

TEST(utf16_length, surrogates_are_refused) {
    EXPECT_EQ(utf16_length("\xED\xA0\x80"), std::nullopt);
    EXPECT_EQ(utf16_length("\xED\xBF\xBF"), std::nullopt);
}

TEST(utf16_length, what_lies_above_the_last_code_point_is_refused) {
    EXPECT_EQ(utf16_length("\xF4\x90\x80\x80"), std::nullopt);
    EXPECT_EQ(utf16_length("\xF5\x80\x80\x80"), std::nullopt);
    EXPECT_EQ(utf16_length("\xFF"), std::nullopt);
}

TEST(utf16_length, a_sequence_that_is_cut_off_is_refused) {
    EXPECT_EQ(utf16_length("\xC3"), std::nullopt);
    EXPECT_EQ(utf16_length("\xE2\x82"), std::nullopt);
    EXPECT_EQ(utf16_length("\xF0\x9F\x93"), std::nullopt);
    EXPECT_EQ(utf16_length("\xE2\x82z"), std::nullopt);
    EXPECT_EQ(utf16_length("\xC3z"), std::nullopt);
}

TEST(utf16_length, a_continuation_without_a_beginning_is_refused) {
    EXPECT_EQ(utf16_length("\x80"), std::nullopt);
    EXPECT_EQ(utf16_length("a\xBF"), std::nullopt);
}

TEST(append_utf8, every_length_is_written) {
    std::string text;
    append_utf8(text, U'a');
    append_utf8(text, 0x7F);
    append_utf8(text, 0x80);
    append_utf8(text, 0x7FF);
    append_utf8(text, 0x800);
    append_utf8(text, 0xFFFF);
    append_utf8(text, 0x10000);
    append_utf8(text, 0x10FFFF);
    EXPECT_EQ(text, "a\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80"
                    "\xF4\x8F\xBF\xBF");
}

} // namespace
