#include "launcher/utf16_to_utf8.h"

#include <gtest/gtest.h>

namespace vandrel {

TEST(utf16_to_utf8, keeps_characters_of_every_length) {
    EXPECT_EQ(utf16_to_utf8(u"a\u00E9\u20AC\U0001F600"), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(utf16_to_utf8, keeps_the_characters_at_the_ends_of_each_length) {
    EXPECT_EQ(utf16_to_utf8(u"\x7F\x80\u07FF\u0800\uFFFF\U00010000\U0010FFFF"),
              "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
}

TEST(utf16_to_utf8, gives_nothing_for_nothing) {
    EXPECT_EQ(utf16_to_utf8(u""), "");
}

TEST(utf16_to_utf8, replaces_a_high_surrogate_at_the_end) {
    EXPECT_EQ(utf16_to_utf8({u'a', char16_t{0xD83D}}), "a\xEF\xBF\xBD");
}

TEST(utf16_to_utf8, replaces_a_high_surrogate_before_another_character) {
    EXPECT_EQ(utf16_to_utf8({char16_t{0xD83D}, u'a'}), "\xEF\xBF\xBD"
                                                       "a");
}

TEST(utf16_to_utf8, replaces_an_unpaired_low_surrogate) {
    EXPECT_EQ(utf16_to_utf8({char16_t{0xDE00}, u'a'}), "\xEF\xBF\xBD"
                                                       "a");
}

TEST(utf16_to_utf8, pairs_a_low_surrogate_with_the_nearest_high_one) {
    EXPECT_EQ(utf16_to_utf8({char16_t{0xD83D}, char16_t{0xD83D}, char16_t{0xDE00}}),
              "\xEF\xBF\xBD\xF0\x9F\x98\x80");
}

} // namespace vandrel
