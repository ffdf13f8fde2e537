#include "simulator/core_foundation/test_objects.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

using namespace simulator::test;

TEST(cf_data, a_copy_does_not_see_the_bytes_change) {
    std::uint8_t bytes[] = {1, 2, 3};
    const handle<CFDataRef> copy(CFDataCreate(kCFAllocatorDefault, bytes, 3));
    bytes[0] = 9;
    EXPECT_EQ(CFDataGetLength(copy.get()), 3);
    EXPECT_EQ(CFDataGetBytePtr(copy.get())[0], 1);
}

TEST(cf_data, without_a_copy_the_bytes_are_the_callers) {
    const std::uint8_t bytes[] = {1, 2, 3};
    const handle<CFDataRef> reference(
        CFDataCreateWithBytesNoCopy(kCFAllocatorDefault, bytes, 3, kCFAllocatorNull));
    EXPECT_EQ(CFDataGetBytePtr(reference.get()), bytes);
    EXPECT_EQ(CFDataGetLength(reference.get()), 3);
}

TEST(cf_data, the_default_deallocator_frees_the_callers_bytes) {
    // The address sanitizer reports it if it does not.
    auto* const bytes = static_cast<std::uint8_t*>(std::calloc(3, 1));
    const handle<CFDataRef> reference(
        CFDataCreateWithBytesNoCopy(kCFAllocatorDefault, bytes, 3, kCFAllocatorDefault));
    EXPECT_EQ(CFDataGetBytePtr(reference.get()), bytes);
}

TEST(cf_data, equal_bytes_are_equal_data) {
    EXPECT_TRUE(CFEqual(make_data("abc").get(), make_data("abc").get()));
    EXPECT_FALSE(CFEqual(make_data("abc").get(), make_data("abd").get()));
    EXPECT_FALSE(CFEqual(make_data("abc").get(), make_data("ab").get()));
    EXPECT_TRUE(CFEqual(make_data("").get(), make_data("").get()));
}

TEST(cf_data, its_description_shows_the_first_bytes) {
    EXPECT_EQ(description_of(make_data("\x01\xFF").get()), "<2 bytes: 01 ff>");
    EXPECT_EQ(description_of(make_data("").get()), "<0 bytes:>");
    EXPECT_EQ(description_of(make_data("0123456789abcdefg").get()),
              "<17 bytes: 30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66 ...>");
}

} // namespace
