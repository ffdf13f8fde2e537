#include "device/device_table.h"

#include <gtest/gtest.h>

namespace {

using namespace vandrel;

TEST(ecid_hash, the_hash_is_fnv_1a_over_the_bytes_from_the_least_significant) {
    // Worked out from the published algorithm by a program of another language.
    EXPECT_EQ(ecid_hash()(Orv::ecid(std::uint64_t{0})), 0xA8C7F832281A39C5U);
    EXPECT_EQ(ecid_hash()(Orv::ecid(std::uint64_t{0x0001A2B3C4D5E6F7})), 0x7B8C4F5017903045U);
}

TEST(ecid_equal, ecids_are_equal_when_their_values_are) {
    EXPECT_TRUE(ecid_equal()(Orv::ecid("00000000000000ab"), Orv::ecid("00000000000000AB")));
    EXPECT_FALSE(ecid_equal()(Orv::ecid("00000000000000AB"), Orv::ecid("80000000000000AB")));
}

} // namespace
