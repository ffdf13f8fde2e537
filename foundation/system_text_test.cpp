#include "foundation/system_text.h"
#include "platform/native_error.h"
#include "tests/system_message.h"

#include <gtest/gtest.h>

#include <array>
#include <locale>

namespace vandrel {

namespace {

constexpr char16_t high = 0xD83D;
constexpr char16_t low = 0xDE00;

/// A locale's view of characters in which 's' is a space, 'b' a blank and nothing else either.
class letters_as_white_space : public std::ctype<char> {
public:
    letters_as_white_space() : std::ctype<char>(table().data()) {}

private:
    static const std::array<mask, table_size>& table() {
        static const auto masks = [] {
            std::array<mask, table_size> made{};
            made['s'] = space;
            made['b'] = blank;
            return made;
        }();
        return masks;
    }
};

/// While one lives, the global locale sees characters in that way.
class global_locale_of_letters {
public:
    global_locale_of_letters()
        : usual_(std::locale::global(std::locale(std::locale(), new letters_as_white_space))) {}
    ~global_locale_of_letters() { std::locale::global(usual_); }
    global_locale_of_letters(const global_locale_of_letters&) = delete;
    global_locale_of_letters& operator=(const global_locale_of_letters&) = delete;

private:
    std::locale usual_;
};

} // namespace

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

TEST(readable_utf8, drops_an_unpaired_low_surrogate) {
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

TEST(without_trailing_space, strips_what_the_global_locale_classes_as_space_or_blank) {
    const global_locale_of_letters scope;
    EXPECT_EQ(without_trailing_space("text s b sb"), "text s b ");
}

TEST(system_text, is_the_systems_message_without_a_line_break) {
    EXPECT_EQ(system_text(2), testing::system_message(2));
    EXPECT_EQ(system_text(5), testing::system_message(5));
    EXPECT_EQ(system_text(80), testing::system_message(80));
}

TEST(system_text, is_empty_for_a_code_without_a_message_and_the_last_error_is_the_reason) {
    set_native_last_error(0);
    EXPECT_EQ(system_text(15999), "");
    EXPECT_EQ(native_last_error(), 317U);
}

} // namespace vandrel
