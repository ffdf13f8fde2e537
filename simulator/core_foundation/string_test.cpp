#include "simulator/core_foundation/test_objects.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <sstream>
#include <string>

namespace {

using namespace simulator::test;

handle<CFStringRef> string_of_bytes(std::string_view bytes) {
    return handle<CFStringRef>(CFStringCreateWithBytes(
        kCFAllocatorDefault, reinterpret_cast<const std::uint8_t*>(bytes.data()),
        static_cast<CFIndex>(bytes.size()), kCFStringEncodingUTF8, false));
}

TEST(cf_string, text_comes_back_as_it_went_in) {
    EXPECT_EQ(text_of(make_string("Gerät \xF0\x9F\x93\xB1").get()), "Gerät \xF0\x9F\x93\xB1");
    EXPECT_EQ(text_of(make_string("").get()), "");
}

TEST(cf_string, the_length_is_in_utf16_units) {
    EXPECT_EQ(CFStringGetLength(make_string("Gerät \xF0\x9F\x93\xB1").get()), 8);
    EXPECT_EQ(CFStringGetLength(make_string("").get()), 0);
}

TEST(cf_string, text_that_is_no_utf8_gives_null) {
    EXPECT_FALSE(make_string("broken \xFF"));
    EXPECT_FALSE(string_of_bytes("broken \xED\xA0\x80"));
}

TEST(cf_string, another_encoding_gives_null) {
    EXPECT_FALSE(handle<CFStringRef>(CFStringCreateWithCString(kCFAllocatorDefault, "a", 0x0600)));
}

TEST(cf_string, bytes_may_hold_zeros) {
    const auto zero_inside = string_of_bytes({"a\0b", 3});
    ASSERT_TRUE(zero_inside);
    EXPECT_EQ(CFStringGetLength(zero_inside.get()), 3);
    std::array<char, 4> buffer{'x', 'x', 'x', 'x'};
    ASSERT_TRUE(CFStringGetCString(zero_inside.get(), buffer.data(), 4, kCFStringEncodingUTF8));
    EXPECT_EQ(buffer, (std::array<char, 4>{'a', '\0', 'b', '\0'}));
}

TEST(cf_string, a_buffer_needs_room_for_the_zero_byte) {
    const auto text = make_string("abc");
    std::array<char, 4> buffer{};
    EXPECT_FALSE(CFStringGetCString(text.get(), buffer.data(), 3, kCFStringEncodingUTF8));
    EXPECT_FALSE(CFStringGetCString(text.get(), buffer.data(), 0, kCFStringEncodingUTF8));
    EXPECT_TRUE(CFStringGetCString(text.get(), buffer.data(), 4, kCFStringEncodingUTF8));
    EXPECT_STREQ(buffer.data(), "abc");
}

TEST(cf_string, a_unit_takes_at_most_three_bytes) {
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(7, kCFStringEncodingUTF8), 21);
}

TEST(cf_string, a_size_beyond_what_an_index_holds_is_minus_one) {
    constexpr CFIndex third = 3074457345618258602;
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(third, kCFStringEncodingUTF8), 9223372036854775806);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(third + 1, kCFStringEncodingUTF8), -1);
}

TEST(cf_string, equal_texts_are_equal_strings) {
    EXPECT_TRUE(CFEqual(make_string("same").get(), make_string("same").get()));
    EXPECT_TRUE(CFEqual(make_string("same").get(), CFSTR("same")));
    EXPECT_FALSE(CFEqual(make_string("same").get(), make_string("other").get()));
}

TEST(cf_string, a_literal_has_one_constant) {
    const std::string again = "literal";
    EXPECT_EQ(CFSTR("literal"), __CFStringMakeConstantString(again.c_str()));
    EXPECT_NE(CFSTR("literal"), CFSTR("another"));
}

/// Where `wanted` is found in `text`, as "location+length".
std::string found(const char* text, const char* wanted) {
    const CFRange range = CFStringFind(make_string(text).get(), make_string(wanted).get(), 0);
    return std::to_string(range.location) + "+" + std::to_string(range.length);
}

TEST(cf_string, another_is_found_where_it_first_occurs) {
    EXPECT_EQ(found("abcabc", "abc"), "0+3");
    EXPECT_EQ(found("abcabc", "ca"), "2+2");
    EXPECT_EQ(found("abc", "abc"), "0+3");
}

TEST(cf_string, another_that_is_not_there_is_not_found) {
    EXPECT_EQ(found("abc", "abcd"), "-1+0");
    EXPECT_EQ(found("abc", "B"), "-1+0");
    EXPECT_EQ(found("", "a"), "-1+0");
    EXPECT_EQ(found("abc", ""), "-1+0");
}

TEST(cf_string, another_is_found_by_utf_16_units) {
    EXPECT_EQ(found("\xC3\xA9\xF0\x9F\x98\x80x\xE2\x82\xAC", "x\xE2\x82\xAC"), "3+2");
}

TEST(cf_string_misuse, searching_with_options_ends_the_process) {
    EXPECT_DEATH(CFStringFind(CFSTR("text"), CFSTR("t"), 1),
                 "simulator: CFStringFind: options are not supported");
}

TEST(cf_string, its_description_has_type_address_and_text) {
    const auto text = make_string("a \"b\"");
    std::ostringstream address;
    address << std::hex << reinterpret_cast<std::uintptr_t>(text.get());
    const std::string description = description_of(text.get());
    EXPECT_TRUE(description.starts_with("<CFString 0x")) << description;
    EXPECT_NE(description.find(address.str()), std::string::npos) << description;
    EXPECT_TRUE(description.ends_with(">{contents = \"a \"b\"\"}")) << description;
}

TEST(cf_string, a_container_describes_it_by_its_text) {
    EXPECT_EQ(description_of(make_array({make_string("text").get()}).get()), "(text)");
}

TEST(cf_string, a_leading_byte_order_mark_is_removed) {
    EXPECT_EQ(text_of(make_string("\xEF\xBB\xBFtext").get()), "text");
    EXPECT_EQ(CFStringGetLength(string_of_bytes("\xEF\xBB\xBFtext").get()), 4);
    EXPECT_EQ(CFStringGetLength(string_of_bytes("\xEF\xBB\xBF").get()), 0);
    EXPECT_EQ(CFStringGetLength(string_of_bytes("a\xEF\xBB\xBF").get()), 2);
    EXPECT_EQ(CFStringGetLength(string_of_bytes("\xEF\xBB\xBF\xEF\xBB\xBF").get()), 1);
}

} // namespace
