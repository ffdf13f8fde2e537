#include "foundation/system_text.h"
#include "platform/native_error.h"
#include "tests/system_message.h"

#include <gtest/gtest.h>

namespace vandrel {

constexpr char16_t high = 0xD83D;
constexpr char16_t low = 0xDE00;

TEST(readable_utf8, keeps_characters_of_every_length) {
    EXPECT_EQ(readable_utf8(u"a\u00E9\u20AC\U0001F600"), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(readable_utf8, keeps_the_units_next_to_the_surrogates) {
    EXPECT_EQ(readable_utf8(u"\uD7FF\uE000\uFFFF"), "\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF");
}

TEST(readable_utf8, joins_the_outermost_pairs) {
    EXPECT_EQ(readable_utf8(u"\U00010000\U0010FFFF"), "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
}

TEST(readable_utf8, keeps_zero_units) {
    EXPECT_EQ(readable_utf8({u"a\0b", 3}), std::string("a\0b", 3));
}

TEST(readable_utf8, drops_a_low_surrogate_that_stands_alone) {
    const char16_t text[] = {u'a', low, u'b'};
    EXPECT_EQ(readable_utf8({text, 3}), "ab");
}

TEST(readable_utf8, drops_a_high_surrogate_with_the_unit_after_it) {
    const char16_t text[] = {u'a', high, u'b', u'c'};
    EXPECT_EQ(readable_utf8({text, 4}), "ac");
}

TEST(readable_utf8, does_not_look_again_at_a_high_surrogate_that_was_dropped_as_the_second) {
    const char16_t text[] = {high, high, low, u'c'};
    EXPECT_EQ(readable_utf8({text, 4}), "c");
}

TEST(readable_utf8, drops_a_high_surrogate_at_the_end) {
    const char16_t text[] = {u'a', high};
    EXPECT_EQ(readable_utf8({text, 2}), "a");
}

TEST(without_trailing_space, strips_every_kind_of_white_space_at_the_end) {
    EXPECT_EQ(without_trailing_space("a b \t\v\f\r\n\r\n"), "a b");
}

TEST(without_trailing_space, keeps_leading_white_space) {
    EXPECT_EQ(without_trailing_space("\n a"), "\n a");
}

TEST(without_trailing_space, leaves_nothing_of_white_space_alone) {
    EXPECT_EQ(without_trailing_space(" \r\n"), "");
    EXPECT_EQ(without_trailing_space(""), "");
}

TEST(without_trailing_space, keeps_bytes_of_longer_characters) {
    // A no-break space, whose last byte is white space in some 8-bit encodings.
    EXPECT_EQ(without_trailing_space("a\xC2\xA0"), "a\xC2\xA0");
}

TEST(without_line_break, removes_one_at_most) {
    EXPECT_EQ(without_line_break("a\r\n"), "a");
    EXPECT_EQ(without_line_break("a\n"), "a");
    EXPECT_EQ(without_line_break("a\r\n\r\n"), "a\r\n");
    EXPECT_EQ(without_line_break("a\n\n"), "a\n");
}

TEST(without_line_break, keeps_other_white_space) {
    EXPECT_EQ(without_line_break("a \r\n"), "a ");
    EXPECT_EQ(without_line_break("a\r"), "a\r");
}

TEST(without_line_break, keeps_a_text_of_one_line_feed) {
    EXPECT_EQ(without_line_break("\n"), "\n");
    EXPECT_EQ(without_line_break("\r\n"), "");
    EXPECT_EQ(without_line_break(""), "");
}

TEST(system_text, is_the_systems_message_without_its_line_break) {
    EXPECT_EQ(system_text(2), testing::system_message(2));
    EXPECT_EQ(system_text(5), testing::system_message(5));
    EXPECT_EQ(system_text(80), testing::system_message(80));
}

TEST(system_text, is_empty_for_a_code_without_a_message_and_the_last_error_tells_why) {
    set_native_last_error(0);
    EXPECT_EQ(system_text(15999), "");
    EXPECT_EQ(native_last_error(), 317U);
}

} // namespace vandrel
