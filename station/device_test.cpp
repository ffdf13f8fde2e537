#include "station/device.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace vandrel::station {
namespace {

TEST(normalized_ecid, is_sixteen_digits_in_upper_case) {
    EXPECT_EQ(normalized_ecid("0001a2b3c4d5e6f7"), "0001A2B3C4D5E6F7");
    EXPECT_EQ(normalized_ecid("0001A2B3C4D5E6F7"), "0001A2B3C4D5E6F7");
}

TEST(normalized_ecid, may_lack_leading_zeros) {
    EXPECT_EQ(normalized_ecid("1A2B3C4D5E6F7"), "0001A2B3C4D5E6F7");
    EXPECT_EQ(normalized_ecid("9"), "0000000000000009");
}

TEST(normalized_ecid, may_have_a_prefix) {
    EXPECT_EQ(normalized_ecid("0x1A2B3C4D5E6F7"), "0001A2B3C4D5E6F7");
    EXPECT_EQ(normalized_ecid("0X000A11B22C33D44E"), "000A11B22C33D44E");
}

TEST(normalized_ecid, is_nothing_for_any_other_text) {
    for (const char* text : {"", "0x", "00001A2B3C4D5E6F7", "1A2B3C4D5E6F7 ", "G", "-1", "0x0x1",
                             "0001A2B3:4D5E6F7", "@", "`", "/"}) {
        EXPECT_EQ(normalized_ecid(text), std::nullopt) << text;
    }
}

device_properties with_chip_and_board(std::uint32_t chip, std::uint32_t board) {
    device_properties result;
    result.chip_id = chip;
    result.board_id = board;
    return result;
}

TEST(fits, needs_an_identity_with_both_the_chip_and_the_board) {
    const std::vector<build_identity> identities{{0x8110, 0x0C}, {0x8101, 0x0E}};
    EXPECT_TRUE(fits(with_chip_and_board(0x8110, 0x0C), identities));
    EXPECT_TRUE(fits(with_chip_and_board(0x8101, 0x0E), identities));
    EXPECT_FALSE(fits(with_chip_and_board(0x8110, 0x0E), identities));
    EXPECT_FALSE(fits(with_chip_and_board(0x8020, 0x0C), identities));
    EXPECT_FALSE(fits(with_chip_and_board(0x8110, 0x0C), {}));
}

TEST(fits, not_a_device_that_reports_no_chip) {
    EXPECT_FALSE(fits(with_chip_and_board(0, 0x0C), {{0, 0x0C}}));
}

} // namespace
} // namespace vandrel::station
