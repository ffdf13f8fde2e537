#include "simulator/core_foundation/property_list_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace {

using namespace simulator;
using number = __CFNumber::value_type;

constexpr auto no_number = std::nullopt;

std::optional<std::string> decoded(std::string_view text) {
    const auto bytes = parse_base64(text);
    return bytes ? std::optional(std::string(bytes->begin(), bytes->end())) : std::nullopt;
}

TEST(parse_integer, reads_decimal) {
    EXPECT_EQ(parse_integer("0"), number(std::int64_t{0}));
    EXPECT_EQ(parse_integer("+5"), number(std::int64_t{5}));
    EXPECT_EQ(parse_integer("-005"), number(std::int64_t{-5}));
}

TEST(parse_integer, reads_hexadecimal) {
    EXPECT_EQ(parse_integer("0xfF"), number(std::int64_t{255}));
    EXPECT_EQ(parse_integer("0X10"), number(std::int64_t{16}));
    EXPECT_EQ(parse_integer("-0x10"), number(std::int64_t{-16}));
}

TEST(parse_integer, white_space_may_precede_the_sign_and_a_blank_follow_it) {
    EXPECT_EQ(parse_integer(" \t\r\n7"), number(std::int64_t{7}));
    EXPECT_EQ(parse_integer("- 5"), number(std::int64_t{-5}));
    EXPECT_EQ(parse_integer(" + 0x10"), number(std::int64_t{16}));
}

TEST(parse_integer, holds_all_of_64_bits) {
    EXPECT_EQ(parse_integer("-9223372036854775808"),
              number(std::numeric_limits<std::int64_t>::min()));
    EXPECT_EQ(parse_integer("9223372036854775807"),
              number(std::numeric_limits<std::int64_t>::max()));
    EXPECT_EQ(parse_integer("9223372036854775808"), number(std::uint64_t{9223372036854775808U}));
    EXPECT_EQ(parse_integer("18446744073709551615"),
              number(std::numeric_limits<std::uint64_t>::max()));
    EXPECT_EQ(parse_integer("0xFFFFFFFFFFFFFFFF"),
              number(std::numeric_limits<std::uint64_t>::max()));
}

TEST(parse_integer, what_does_not_fit_is_refused) {
    EXPECT_EQ(parse_integer("-9223372036854775809"), no_number);
    EXPECT_EQ(parse_integer("18446744073709551616"), no_number);
    EXPECT_EQ(parse_integer("0x10000000000000000"), no_number);
}

TEST(parse_integer, other_texts_are_refused) {
    for (const char* text : {"", "-", "+", "0x", "--1", "+-1", "1.0", "1 ", "ff", "0x-1", "1e3",
                             "-  1", "-\t1", "1 2"}) {
        EXPECT_EQ(parse_integer(text), no_number) << text;
    }
}

TEST(parse_real, reads_fractions_and_exponents) {
    EXPECT_EQ(parse_real("0.1"), number(0.1));
    EXPECT_EQ(parse_real("+2.5e3"), number(2500.0));
    EXPECT_EQ(parse_real("-1"), number(-1.0));
    EXPECT_EQ(parse_real("4.9406564584124654e-324"), number(4.9406564584124654e-324));
    EXPECT_EQ(parse_real("1.7976931348623157e+308"), number(1.7976931348623157e+308));
}

TEST(parse_real, reads_what_is_not_finite) {
    EXPECT_TRUE(std::isnan(std::get<double>(parse_real("nan").value())));
    EXPECT_EQ(parse_real("inf"), number(INFINITY));
    EXPECT_EQ(parse_real("+infinity"), number(INFINITY));
    EXPECT_EQ(parse_real("-Infinity"), number(-INFINITY));
}

TEST(parse_real, what_is_too_large_is_infinite) {
    EXPECT_EQ(parse_real("1e400"), number(INFINITY));
    EXPECT_EQ(parse_real("-1E+400"), number(-INFINITY));
    EXPECT_EQ(parse_real("1e99999999999999999999"), number(INFINITY));
    EXPECT_EQ(parse_real("0.001e320"), number(INFINITY));
    EXPECT_EQ(parse_real(std::string(400, '9')), number(INFINITY));
}

TEST(parse_real, what_is_too_small_is_zero) {
    EXPECT_EQ(parse_real("1e-400"), number(0.0));
    EXPECT_EQ(parse_real("1000e-400"), number(0.0));
    EXPECT_EQ(parse_real("1e-99999999999999999999"), number(0.0));
    EXPECT_EQ(parse_real("0." + std::string(400, '0') + "1"), number(0.0));
    EXPECT_TRUE(std::signbit(std::get<double>(parse_real("-1e-400").value())));
}

TEST(parse_real, white_space_may_precede_the_sign_and_a_blank_follow_it) {
    EXPECT_EQ(parse_real("\n 1.5"), number(1.5));
    EXPECT_EQ(parse_real("- 1.5"), number(-1.5));
}

TEST(parse_real, other_texts_are_refused) {
    for (const char* text : {"", "+", "+-1", "--1", "1,5", "0x10", "1e", "1.5 ", "e5", "-nan",
                             "+nan", "nan(1)", "nan ", "infinit", "inf ", "-  1", "1e400 "}) {
        EXPECT_EQ(parse_real(text), no_number) << text;
    }
}

TEST(parse_base64, reads_every_length_of_the_last_group) {
    EXPECT_EQ(decoded(""), "");
    EXPECT_EQ(decoded("Zg=="), "f");
    EXPECT_EQ(decoded("Zm8="), "fo");
    EXPECT_EQ(decoded("Zm9v"), "foo");
    EXPECT_EQ(decoded("Zm9vYg=="), "foob");
    EXPECT_EQ(decoded("+/+/"), "\xFB\xFF\xBF");
}

TEST(parse_base64, white_space_may_be_anywhere) {
    EXPECT_EQ(decoded(" Zm\n\t9v\r\nYg = = "), "foob");
}

TEST(parse_base64, other_texts_are_refused) {
    for (const char* text : {"Z", "Zg", "Zm8", "Zg=", "Z===", "====", "Zg==Zm9v", "Zm=v",
                             "Zm9v=", "Zm-v", "Zm9\xC3"}) {
        EXPECT_EQ(decoded(text), std::nullopt) << text;
    }
}

} // namespace
