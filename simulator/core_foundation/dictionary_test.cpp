#include "simulator/core_foundation/accounting.h"
#include "simulator/core_foundation/test_objects.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace simulator::test;
using testing::ElementsAre;

void append_entry(const void* key, const void* value, void* context) {
    static_cast<std::vector<std::string>*>(context)->push_back(content_of(key) + "=" +
                                                               content_of(value));
}

std::vector<std::string> entries_of(CFDictionaryRef dictionary) {
    std::vector<std::string> result;
    CFDictionaryApplyFunction(dictionary, append_entry, &result);
    return result;
}

TEST(cf_dictionary, gives_the_value_of_an_equal_key) {
    const auto entries = make_dictionary({{make_string("a").get(), make_number(1).get()}});
    const void* const value = CFDictionaryGetValue(entries.get(), CFSTR("a"));
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(content_of(value), "1");
}

TEST(cf_dictionary, an_absent_key_gives_null) {
    EXPECT_EQ(CFDictionaryGetValue(make_dictionary().get(), CFSTR("a")), nullptr);
}

TEST(cf_dictionary, setting_an_equal_key_replaces_the_value) {
    const auto entries = make_dictionary({{make_string("a").get(), make_number(1).get()},
                                          {make_string("a").get(), make_number(2).get()}});
    EXPECT_THAT(entries_of(entries.get()), ElementsAre("a=2"));
    EXPECT_EQ(simulator::live_objects()["CFNumber"], 1);
    EXPECT_EQ(simulator::live_objects()["CFString"], 1);
}

TEST(cf_dictionary, entries_come_in_the_order_of_their_keys_first_setting) {
    const auto entries = make_dictionary(
        {{CFSTR("z"), CFSTR("1")}, {CFSTR("a"), CFSTR("2")}, {CFSTR("z"), CFSTR("3")}});
    EXPECT_THAT(entries_of(entries.get()), ElementsAre("z=3", "a=2"));
}

TEST(cf_dictionary, keys_need_not_be_strings) {
    const auto entries = make_dictionary({{make_number(7).get(), kCFBooleanTrue}});
    EXPECT_EQ(CFDictionaryGetValue(entries.get(), make_number(7).get()), kCFBooleanTrue);
}

TEST(cf_dictionary, a_copy_has_entries_of_its_own) {
    const auto original = make_dictionary({{CFSTR("a"), CFSTR("1")}});
    const handle<CFMutableDictionaryRef> copy(
        CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, original.get()));
    CFDictionarySetValue(copy.get(), CFSTR("b"), CFSTR("2"));
    EXPECT_THAT(entries_of(original.get()), ElementsAre("a=1"));
    EXPECT_THAT(entries_of(copy.get()), ElementsAre("a=1", "b=2"));
}

TEST(cf_dictionary, equality_does_not_depend_on_order) {
    const auto ab = make_dictionary({{CFSTR("a"), CFSTR("1")}, {CFSTR("b"), CFSTR("2")}});
    const auto ba = make_dictionary({{CFSTR("b"), CFSTR("2")}, {CFSTR("a"), CFSTR("1")}});
    const auto other = make_dictionary({{CFSTR("a"), CFSTR("1")}, {CFSTR("b"), CFSTR("3")}});
    const auto less = make_dictionary({{CFSTR("a"), CFSTR("1")}});
    EXPECT_TRUE(CFEqual(ab.get(), ba.get()));
    EXPECT_FALSE(CFEqual(ab.get(), other.get()));
    EXPECT_FALSE(CFEqual(ab.get(), less.get()));
}

TEST(cf_dictionary, holds_very_many_entries) {
    constexpr std::int64_t count = 700'000;
    const auto entries = make_dictionary();
    for (std::int64_t i = 0; i < count; ++i) {
        CFDictionarySetValue(entries.get(), make_string(std::to_string(i)).get(), kCFBooleanTrue);
    }
    EXPECT_EQ(CFDictionaryGetCount(entries.get()), count);
    EXPECT_EQ(CFDictionaryGetValue(entries.get(), CFSTR("699999")), kCFBooleanTrue);
    EXPECT_EQ(CFDictionaryGetValue(entries.get(), CFSTR("700000")), nullptr);
}

TEST(cf_dictionary, its_description_lists_its_entries) {
    EXPECT_EQ(content_of(make_dictionary({{CFSTR("a"), make_number(1).get()},
                                          {CFSTR("b"), make_dictionary().get()}})
                             .get()),
              "{a = 1, b = {}}");
}

TEST(cf_dictionary_misuse, a_null_key_or_value_ends_the_process) {
    const auto entries = make_dictionary();
    EXPECT_DEATH(CFDictionarySetValue(entries.get(), nullptr, kCFNull),
                 "simulator: CFDictionarySetValue: null object");
    EXPECT_DEATH(CFDictionarySetValue(entries.get(), kCFNull, nullptr),
                 "simulator: CFDictionarySetValue: null object");
}

} // namespace
