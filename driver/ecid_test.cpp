#include "driver/ecid.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace Orv {

namespace {

/// The error text for `text`; empty if it is accepted.
std::string error_text(std::string_view text) {
    try {
        const ecid accepted(text);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return {};
}

} // namespace

TEST(ecid, sixteen_digits_are_the_value_from_the_most_significant_byte) {
    EXPECT_EQ(ecid("00000000000000AB").value(), 171U);
    EXPECT_EQ(ecid("0123456789ABCDEF").value(), 0x0123456789ABCDEFU);
    EXPECT_EQ(ecid("FFFFFFFFFFFFFFFF").value(), 0xFFFFFFFFFFFFFFFFU);
}

TEST(ecid, the_text_of_a_value_keeps_leading_zeros) {
    EXPECT_EQ(ecid(std::uint64_t{171}).text(), "00000000000000AB");
    EXPECT_EQ(ecid(std::uint64_t{0x0001A2B3C4D5E6F7}).text(), "0001A2B3C4D5E6F7");
    EXPECT_EQ(ecid(std::uint64_t{0x8000000000000000}).text(), "8000000000000000");
}

TEST(ecid, the_case_of_the_digits_makes_no_difference) {
    const ecid lower("0001a2b3c4d5e6f7");
    const ecid upper("0001A2B3C4D5E6F7");
    EXPECT_EQ(lower.value(), upper.value());
    EXPECT_EQ(lower.text(), "0001A2B3C4D5E6F7");
    EXPECT_EQ(upper.text(), "0001A2B3C4D5E6F7");
}

TEST(ecid, a_prefix_is_refused) {
    EXPECT_EQ(error_text("0x00000000000000AB"), "Invalid ECID '0x00000000000000AB'");
}

TEST(ecid, a_prefix_within_sixteen_characters_is_refused) {
    EXPECT_EQ(error_text("0x000000000000AB"), "Invalid ECID '0x000000000000AB'");
}

TEST(ecid, fifteen_digits_are_refused) {
    EXPECT_EQ(error_text("0000000000000AB"), "Invalid ECID '0000000000000AB'");
}

TEST(ecid, seventeen_digits_are_refused) {
    EXPECT_EQ(error_text("000000000000000AB"), "Invalid ECID '000000000000000AB'");
}

TEST(ecid, nothing_is_refused) {
    EXPECT_EQ(error_text(""), "Invalid ECID ''");
}

TEST(ecid, a_letter_beyond_f_is_refused) {
    EXPECT_EQ(error_text("00000000000000AG"), "Invalid ECID '00000000000000AG'");
}

TEST(ecid, signs_and_blanks_are_refused) {
    EXPECT_EQ(error_text("+0000000000000AB"), "Invalid ECID '+0000000000000AB'");
    EXPECT_EQ(error_text("-0000000000000AB"), "Invalid ECID '-0000000000000AB'");
    EXPECT_EQ(error_text(" 0000000000000AB"), "Invalid ECID ' 0000000000000AB'");
    EXPECT_EQ(error_text("0000000000000AB "), "Invalid ECID '0000000000000AB '");
}

TEST(ecid, bytes_beyond_ascii_are_refused) {
    // U+FF11, a digit elsewhere in the world, three bytes long.
    EXPECT_EQ(error_text("\xEF\xBC\x91"
                         "00000000000AB"),
              "Invalid ECID '\xEF\xBC\x91"
              "00000000000AB'");
}

TEST(ecid, ecids_are_equal_when_their_values_are) {
    EXPECT_TRUE(ecid("00000000000000ab") == ecid("00000000000000AB"));
    EXPECT_FALSE(ecid("00000000000000AB") == ecid("80000000000000AB"));
}

TEST(ecid, ecids_are_ordered_as_unsigned_numbers) {
    EXPECT_TRUE(ecid("00000000000000AB") < ecid("80000000000000AB"));
    EXPECT_FALSE(ecid("80000000000000AB") < ecid("00000000000000AB"));
    EXPECT_FALSE(ecid("00000000000000AB") < ecid("00000000000000AB"));
}

TEST(ecid, copies_and_assigns) {
    const ecid one("0001A2B3C4D5E6F7");
    ecid other(std::uint64_t{171});
    other = one;
    EXPECT_EQ(other.value(), 0x0001A2B3C4D5E6F7U);
    EXPECT_EQ(other.text(), "0001A2B3C4D5E6F7");
}

TEST(ecid, is_written_into_messages_as_its_digits) {
    EXPECT_EQ(fmt::format("{}", ecid(std::uint64_t{171})), "00000000000000AB");
}

TEST(ecid, of_value_zero_is_written_into_messages_as_question_marks) {
    const ecid none(std::uint64_t{0});
    EXPECT_EQ(fmt::format("{}", none), "????????????????");
    EXPECT_EQ(none.text(), "0000000000000000");
}

TEST(ecid, is_padded_and_cut_in_messages_like_any_string) {
    EXPECT_EQ(fmt::format("{:>18}", ecid(std::uint64_t{171})), "  00000000000000AB");
    EXPECT_EQ(fmt::format("{:*<{}.{}}", ecid(std::uint64_t{0}), 6, 4), "????**");
}

} // namespace Orv
