#include "foundation/base16.h"

#include <gtest/gtest.h>

namespace Orv {

namespace {

using bytes = std::vector<std::uint8_t>;

} // namespace

TEST(base16, nothing_is_an_empty_text) {
    EXPECT_EQ(base16_encode(bytes{}), "");
    EXPECT_EQ(base16_decode(""), bytes{});
}

TEST(base16, a_byte_is_two_upper_case_digits) {
    EXPECT_EQ(base16_encode(bytes{0xAB}), "AB");
    EXPECT_EQ(base16_encode(bytes{0xFF}), "FF");
}

TEST(base16, leading_zeros_are_written) {
    EXPECT_EQ(base16_encode(bytes{0x00, 0x07}), "0007");
}

TEST(base16, bytes_keep_their_order) {
    EXPECT_EQ(base16_encode(bytes{0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}),
              "0123456789ABCDEF");
    EXPECT_EQ(base16_decode("0123456789ABCDEF"),
              (bytes{0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}));
}

TEST(base16, digits_of_either_case_are_read) {
    EXPECT_EQ(base16_decode("abCDeF"), (bytes{0xAB, 0xCD, 0xEF}));
}

TEST(base16, every_byte_comes_back) {
    bytes all;
    for (int i = 0; i < 256; ++i) {
        all.push_back(static_cast<std::uint8_t>(i));
    }
    EXPECT_EQ(base16_decode(base16_encode(all)), all);
}

} // namespace Orv
