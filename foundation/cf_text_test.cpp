#include "foundation/cf_text.h"
#include "simulator/core_foundation/accounting.h"
#include "simulator/core_foundation/string.h"

#include <gtest/gtest.h>

namespace {

using namespace vandrel;

TEST(cfstring_to_string, null_is_the_empty_string) {
    EXPECT_EQ(cfstring_to_string(nullptr), "");
}

TEST(cfstring_to_string, text_beyond_ascii_comes_back_as_utf8) {
    const cf_handle<CFStringRef> string(make_cfstring("Gerät \xF0\x9F\x93\xB1"));
    ASSERT_TRUE(string);
    EXPECT_EQ(cfstring_to_string(string.get()), "Gerät \xF0\x9F\x93\xB1");
}

TEST(cfstring_to_string, text_ends_at_the_first_zero_byte) {
    const std::uint8_t bytes[] = {'a', 'b', 0, 'c'};
    const cf_handle<CFStringRef> string(
        CFStringCreateWithBytes(kCFAllocatorDefault, bytes, 4, kCFStringEncodingUTF8, false));
    ASSERT_TRUE(string);
    EXPECT_EQ(cfstring_to_string(string.get()), "ab");
}

TEST(cfstring_to_string, text_without_a_utf8_form_is_the_empty_string) {
    const cf_handle<CFStringRef> string(simulator::make_unpaired_surrogate());
    EXPECT_EQ(cfstring_to_string(string.get()), "");
}

TEST(copy_utf8, text_without_a_utf8_form_is_no_text) {
    const cf_handle<CFStringRef> string(simulator::make_unpaired_surrogate());
    EXPECT_EQ(copy_utf8(string.get()), std::nullopt);
}

TEST(copy_utf8, null_is_no_text) {
    EXPECT_EQ(copy_utf8(nullptr), std::nullopt);
}

TEST(copy_utf8, an_empty_string_is_an_empty_text) {
    EXPECT_EQ(copy_utf8(CFSTR("")), "");
}

TEST(make_cfstring, text_that_is_no_utf8_gives_null) {
    EXPECT_EQ(make_cfstring("broken \xFF"), nullptr);
}

TEST(describe_cftype, null_is_named_so) {
    EXPECT_EQ(describe_cftype(nullptr), "(null)");
}

TEST(describe_cftype, what_cannot_be_described_is_named_so) {
    simulator::fail_creation(1);
    EXPECT_EQ(describe_cftype(kCFBooleanTrue), "(null)");
}

TEST(describe_cftype, a_string_is_described_with_its_text) {
    const std::string description = describe_cftype(CFSTR("Recovery"));
    EXPECT_TRUE(description.starts_with("<CFString 0x")) << description;
    EXPECT_TRUE(description.ends_with(">{contents = \"Recovery\"}")) << description;
}

} // namespace
