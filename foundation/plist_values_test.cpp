#include "foundation/cf_text.h"
#include "foundation/plist_values.h"
#include "simulator/core_foundation/accounting.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using namespace vandrel;

constexpr std::int32_t lenient = 0;
constexpr std::int32_t strict = 1;

cf_handle<CFNumberRef> make_number(std::int64_t value) {
    return cf_handle<CFNumberRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value));
}

cf_handle<CFMutableArrayRef> make_array(std::initializer_list<CFTypeRef> elements) {
    cf_handle<CFMutableArrayRef> array(
        CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    for (CFTypeRef element : elements) {
        CFArrayAppendValue(array.get(), element);
    }
    return array;
}

cf_handle<CFMutableDictionaryRef> make_dictionary() {
    return cf_handle<CFMutableDictionaryRef>(CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

cf_handle<CFMutableSetRef> make_set(CFTypeRef member) {
    cf_handle<CFMutableSetRef> set(
        CFSetCreateMutable(kCFAllocatorDefault, 0, &kCFTypeSetCallBacks));
    CFSetAddValue(set.get(), member);
    return set;
}

bool equal(CFTypeRef left, CFTypeRef right) {
    return left != nullptr && right != nullptr && CFEqual(left, right);
}

// --- cferror_to_dictionary

TEST(cferror_to_dictionary, null_gives_null_and_nothing_is_made) {
    const auto before = simulator::creation_count();
    EXPECT_EQ(cferror_to_dictionary(nullptr), nullptr);
    EXPECT_EQ(simulator::creation_count(), before);
}

TEST(cferror_to_dictionary, an_error_without_texts_has_domain_and_code_only) {
    const cf_error_handle error(CFErrorCreate(kCFAllocatorDefault, CFSTR("usb"), 4711, nullptr));
    const auto dictionary = cferror_to_dictionary(error.get());
    ASSERT_TRUE(dictionary);
    EXPECT_EQ(CFDictionaryGetCount(dictionary.get()), 2);
    EXPECT_TRUE(equal(CFDictionaryGetValue(dictionary.get(), CFSTR("Domain")), CFSTR("usb")));
    EXPECT_TRUE(
        equal(CFDictionaryGetValue(dictionary.get(), CFSTR("Code")), make_number(4711).get()));
}

TEST(cferror_to_dictionary, an_error_with_texts_has_all_four_keys) {
    const auto user_info = make_dictionary();
    CFDictionarySetValue(user_info.get(), kCFErrorLocalizedDescriptionKey, CFSTR("What"));
    CFDictionarySetValue(user_info.get(), kCFErrorLocalizedFailureReasonKey, CFSTR("Why"));
    const cf_error_handle error(
        CFErrorCreate(kCFAllocatorDefault, CFSTR("usb"), -3, user_info.get()));
    const auto dictionary = cferror_to_dictionary(error.get());
    ASSERT_TRUE(dictionary);
    EXPECT_EQ(CFDictionaryGetCount(dictionary.get()), 4);
    EXPECT_TRUE(equal(CFDictionaryGetValue(dictionary.get(), CFSTR("Domain")), CFSTR("usb")));
    EXPECT_TRUE(
        equal(CFDictionaryGetValue(dictionary.get(), CFSTR("Code")), make_number(-3).get()));
    EXPECT_TRUE(equal(CFDictionaryGetValue(dictionary.get(), CFSTR("Description")), CFSTR("What")));
    EXPECT_TRUE(
        equal(CFDictionaryGetValue(dictionary.get(), CFSTR("FailureReason")), CFSTR("Why")));
}

TEST(cferror_to_dictionary, a_code_that_cannot_be_made_is_left_out) {
    const cf_error_handle error(CFErrorCreate(kCFAllocatorDefault, CFSTR("usb"), 4711, nullptr));
    // The dictionary is made first.
    simulator::fail_creation(2);
    const auto dictionary = cferror_to_dictionary(error.get());
    ASSERT_TRUE(dictionary);
    EXPECT_EQ(CFDictionaryGetCount(dictionary.get()), 1);
    EXPECT_TRUE(equal(CFDictionaryGetValue(dictionary.get(), CFSTR("Domain")), CFSTR("usb")));
}

// --- make_plist_compatible

TEST(make_plist_compatible, null_gives_null) {
    EXPECT_EQ(make_plist_compatible(nullptr, lenient), nullptr);
    EXPECT_EQ(make_plist_compatible(nullptr, strict), nullptr);
}

TEST(make_plist_compatible, a_scalar_is_the_same_object) {
    const auto number = make_number(5);
    const cf_handle<CFDateRef> date(CFDateCreate(kCFAllocatorDefault, 0));
    const cf_handle<CFDataRef> data(CFDataCreate(kCFAllocatorDefault, nullptr, 0));
    EXPECT_EQ(make_plist_compatible(number.get(), strict).get(), number.get());
    EXPECT_EQ(make_plist_compatible(date.get(), strict).get(), date.get());
    EXPECT_EQ(make_plist_compatible(data.get(), strict).get(), data.get());
    EXPECT_EQ(make_plist_compatible(CFSTR("text"), strict).get(), CFSTR("text"));
    EXPECT_EQ(make_plist_compatible(kCFBooleanTrue, strict).get(), kCFBooleanTrue);
}

TEST(make_plist_compatible, a_lenient_array_drops_what_has_no_plist_form) {
    const auto number = make_number(5);
    const auto array = make_array({CFSTR("text"), kCFNull, number.get()});
    EXPECT_TRUE(equal(make_plist_compatible(array.get(), lenient).get(),
                      make_array({CFSTR("text"), number.get()}).get()));
}

TEST(make_plist_compatible, a_strict_array_with_one_bad_element_is_null) {
    const auto number = make_number(5);
    const auto array = make_array({CFSTR("text"), kCFNull, number.get()});
    EXPECT_EQ(make_plist_compatible(array.get(), strict), nullptr);
}

TEST(make_plist_compatible, good_elements_after_a_bad_one_do_not_repair_a_strict_array) {
    const auto set = make_set(CFSTR("member"));
    const auto array = make_array({set.get(), CFSTR("good"), set.get()});
    EXPECT_EQ(make_plist_compatible(array.get(), strict), nullptr);
}

TEST(make_plist_compatible, good_entries_after_a_bad_one_do_not_repair_a_strict_dictionary) {
    const auto set = make_set(CFSTR("member"));
    const auto dictionary = make_dictionary();
    CFDictionarySetValue(dictionary.get(), CFSTR("first"), set.get());
    CFDictionarySetValue(dictionary.get(), CFSTR("second"), CFSTR("good"));
    CFDictionarySetValue(dictionary.get(), CFSTR("third"), set.get());
    EXPECT_EQ(make_plist_compatible(dictionary.get(), strict), nullptr);
}

TEST(make_plist_compatible, nothing_is_converted_after_the_first_failure_in_a_strict_array) {
    const auto bad = make_array({kCFNull});
    const auto array = make_array({bad.get(), bad.get(), bad.get()});
    const auto before = simulator::creation_count();
    EXPECT_EQ(make_plist_compatible(array.get(), strict), nullptr);
    // The copy of the whole, and that of the first element.
    EXPECT_EQ(simulator::creation_count() - before, 2);
}

TEST(make_plist_compatible, nothing_is_converted_after_the_first_failure_in_a_strict_dictionary) {
    const auto bad = make_array({kCFNull});
    const auto dictionary = make_dictionary();
    CFDictionarySetValue(dictionary.get(), CFSTR("first"), bad.get());
    CFDictionarySetValue(dictionary.get(), CFSTR("second"), bad.get());
    CFDictionarySetValue(dictionary.get(), CFSTR("third"), bad.get());
    const auto before = simulator::creation_count();
    EXPECT_EQ(make_plist_compatible(dictionary.get(), strict), nullptr);
    EXPECT_EQ(simulator::creation_count() - before, 2);
}

TEST(make_plist_compatible, everything_is_converted_after_a_failure_in_a_lenient_array) {
    const auto bad = make_array({kCFNull});
    const auto array = make_array({bad.get(), kCFNull, bad.get()});
    const auto before = simulator::creation_count();
    EXPECT_TRUE(make_plist_compatible(array.get(), lenient));
    EXPECT_EQ(simulator::creation_count() - before, 3);
}

TEST(make_plist_compatible, any_flag_but_zero_is_strict) {
    EXPECT_EQ(make_plist_compatible(make_array({kCFNull}).get(), 2), nullptr);
    EXPECT_EQ(make_plist_compatible(make_array({kCFNull}).get(), -1), nullptr);
}

TEST(make_plist_compatible, a_nested_array_that_fails_strictly_fails_its_container) {
    const auto inner = make_array({kCFNull});
    EXPECT_EQ(make_plist_compatible(make_array({inner.get()}).get(), strict), nullptr);
    const auto dictionary = make_dictionary();
    CFDictionarySetValue(dictionary.get(), CFSTR("inner"), inner.get());
    EXPECT_EQ(make_plist_compatible(dictionary.get(), strict), nullptr);
}

TEST(make_plist_compatible, a_nested_array_that_is_emptied_leniently_stays) {
    const auto inner = make_array({kCFNull});
    EXPECT_TRUE(equal(make_plist_compatible(make_array({inner.get()}).get(), lenient).get(),
                      make_array({make_array({}).get()}).get()));
}

TEST(make_plist_compatible, a_container_is_copied) {
    const auto array = make_array({CFSTR("text")});
    const auto copy = make_plist_compatible(array.get(), strict);
    EXPECT_NE(copy.get(), array.get());
    EXPECT_TRUE(equal(copy.get(), array.get()));
}

TEST(make_plist_compatible, a_numeric_key_loses_its_entry_in_lenient_mode) {
    const auto key = make_number(1);
    const auto dictionary = make_dictionary();
    CFDictionarySetValue(dictionary.get(), key.get(), CFSTR("lost"));
    CFDictionarySetValue(dictionary.get(), CFSTR("key"), CFSTR("kept"));
    const auto expected = make_dictionary();
    CFDictionarySetValue(expected.get(), CFSTR("key"), CFSTR("kept"));
    EXPECT_TRUE(equal(make_plist_compatible(dictionary.get(), lenient).get(), expected.get()));
}

TEST(make_plist_compatible, a_numeric_key_fails_a_strict_dictionary) {
    const auto key = make_number(1);
    const auto dictionary = make_dictionary();
    CFDictionarySetValue(dictionary.get(), key.get(), CFSTR("lost"));
    EXPECT_EQ(make_plist_compatible(dictionary.get(), strict), nullptr);
}

TEST(make_plist_compatible, a_set_is_null_in_both_modes) {
    const auto set = make_set(CFSTR("member"));
    EXPECT_EQ(make_plist_compatible(set.get(), lenient), nullptr);
    EXPECT_EQ(make_plist_compatible(set.get(), strict), nullptr);
}

TEST(make_plist_compatible, a_set_inside_a_container_vanishes_leniently) {
    const auto set = make_set(CFSTR("member"));
    const auto array = make_array({set.get()});
    EXPECT_TRUE(equal(make_plist_compatible(array.get(), lenient).get(), make_array({}).get()));
}

TEST(make_plist_compatible, a_url_is_null) {
    const cf_handle<CFURLRef> url(
        CFURLCreateWithString(kCFAllocatorDefault, CFSTR("file:///a.ipsw"), nullptr));
    ASSERT_TRUE(url);
    EXPECT_EQ(make_plist_compatible(url.get(), lenient), nullptr);
}

TEST(make_plist_compatible, an_error_becomes_its_dictionary_even_strictly) {
    const cf_error_handle error(CFErrorCreate(kCFAllocatorDefault, CFSTR("usb"), 9, nullptr));
    const auto array = make_array({error.get()});
    const auto code = make_number(9);
    const auto dictionary = make_dictionary();
    CFDictionarySetValue(dictionary.get(), CFSTR("Domain"), CFSTR("usb"));
    CFDictionarySetValue(dictionary.get(), CFSTR("Code"), code.get());
    EXPECT_TRUE(equal(make_plist_compatible(array.get(), strict).get(),
                      make_array({dictionary.get()}).get()));
}

// --- to_xml_plist_compatible

TEST(to_xml_plist_compatible, a_strict_failure_is_thrown) {
    const auto array = make_array({CFSTR("text"), kCFNull});
    try {
        to_xml_plist_compatible(array.get(), strict);
        FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ(failure.what(), "Could not convert to xml plist");
    }
}

TEST(to_xml_plist_compatible, only_the_flag_one_throws) {
    EXPECT_EQ(to_xml_plist_compatible(kCFNull, lenient), nullptr);
    EXPECT_EQ(to_xml_plist_compatible(kCFNull, 2), nullptr);
}

TEST(to_xml_plist_compatible, what_converts_is_returned) {
    EXPECT_EQ(to_xml_plist_compatible(CFSTR("text"), strict).get(), CFSTR("text"));
}

// --- is_valid_plist_value

constexpr auto xml = kCFPropertyListXMLFormat_v1_0;
constexpr auto binary = kCFPropertyListBinaryFormat_v1_0;

TEST(is_valid_plist_value, nothing_is_valid_in_the_openstep_format) {
    EXPECT_FALSE(is_valid_plist_value(CFSTR("text"), kCFPropertyListOpenStepFormat));
    EXPECT_FALSE(is_valid_plist_value(make_array({}).get(), kCFPropertyListOpenStepFormat));
}

TEST(is_valid_plist_value, null_is_never_valid) {
    EXPECT_FALSE(is_valid_plist_value(nullptr, xml));
    EXPECT_FALSE(is_valid_plist_value(nullptr, binary));
}

TEST(is_valid_plist_value, every_scalar_is_valid) {
    const cf_handle<CFDateRef> date(CFDateCreate(kCFAllocatorDefault, 0));
    const cf_handle<CFDataRef> data(CFDataCreate(kCFAllocatorDefault, nullptr, 0));
    for (const auto format : {xml, binary}) {
        EXPECT_TRUE(is_valid_plist_value(CFSTR("text"), format));
        EXPECT_TRUE(is_valid_plist_value(make_number(1).get(), format));
        EXPECT_TRUE(is_valid_plist_value(kCFBooleanFalse, format));
        EXPECT_TRUE(is_valid_plist_value(date.get(), format));
        EXPECT_TRUE(is_valid_plist_value(data.get(), format));
    }
}

TEST(is_valid_plist_value, an_empty_array_or_dictionary_is_valid) {
    EXPECT_TRUE(is_valid_plist_value(make_array({}).get(), xml));
    EXPECT_TRUE(is_valid_plist_value(make_dictionary().get(), xml));
}

TEST(is_valid_plist_value, a_set_is_valid_in_binary_and_not_in_xml) {
    const auto set = make_set(CFSTR("member"));
    EXPECT_TRUE(is_valid_plist_value(set.get(), binary));
    EXPECT_FALSE(is_valid_plist_value(set.get(), xml));
}

TEST(is_valid_plist_value, a_set_is_valid_in_every_format_but_xml_and_openstep) {
    const auto set = make_set(CFSTR("member"));
    for (const CFPropertyListFormat format : {0, 2, 99, 101, 200, -1}) {
        EXPECT_TRUE(is_valid_plist_value(set.get(), format)) << format;
        EXPECT_TRUE(is_valid_plist_value(make_array({set.get()}).get(), format)) << format;
    }
    EXPECT_FALSE(is_valid_plist_value(make_array({set.get()}).get(), xml));
}

TEST(is_valid_plist_value, a_set_with_a_bad_member_is_not_valid) {
    EXPECT_FALSE(is_valid_plist_value(make_set(kCFNull).get(), binary));
}

TEST(is_valid_plist_value, one_bad_element_at_any_position_makes_an_array_invalid) {
    EXPECT_FALSE(is_valid_plist_value(make_array({kCFNull, CFSTR("text")}).get(), xml));
    EXPECT_FALSE(is_valid_plist_value(make_array({CFSTR("text"), kCFNull}).get(), xml));
}

TEST(is_valid_plist_value, a_key_that_is_no_string_makes_a_dictionary_invalid) {
    const auto key = make_number(1);
    const auto dictionary = make_dictionary();
    CFDictionarySetValue(dictionary.get(), key.get(), CFSTR("value"));
    CFDictionarySetValue(dictionary.get(), CFSTR("key"), CFSTR("value"));
    EXPECT_FALSE(is_valid_plist_value(dictionary.get(), xml));
}

TEST(is_valid_plist_value, a_bad_value_makes_a_dictionary_invalid) {
    const auto dictionary = make_dictionary();
    CFDictionarySetValue(dictionary.get(), CFSTR("bad"), kCFNull);
    CFDictionarySetValue(dictionary.get(), CFSTR("good"), CFSTR("value"));
    EXPECT_FALSE(is_valid_plist_value(dictionary.get(), xml));
}

TEST(is_valid_plist_value, an_error_is_not_valid) {
    const cf_error_handle error(CFErrorCreate(kCFAllocatorDefault, CFSTR("usb"), 9, nullptr));
    EXPECT_FALSE(is_valid_plist_value(error.get(), xml));
}

} // namespace
