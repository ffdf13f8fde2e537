#include "simulator/core_foundation/accounting.h"
#include "simulator/core_foundation/test_objects.h"

#include <gtest/gtest.h>

namespace {

using namespace simulator::test;

handle<CFErrorRef> error(CFIndex code, CFDictionaryRef user_info) {
    return handle<CFErrorRef>(CFErrorCreate(kCFAllocatorDefault, CFSTR("test"), code, user_info));
}

TEST(cf_error, holds_domain_and_code) {
    const auto failure = error(-9, nullptr);
    EXPECT_EQ(text_of(CFErrorGetDomain(failure.get())), "test");
    EXPECT_EQ(CFErrorGetCode(failure.get()), -9);
    EXPECT_EQ(CFGetTypeID(failure.get()), CFErrorGetTypeID());
}

TEST(cf_error, without_user_information_it_has_no_texts) {
    const auto failure = error(1, nullptr);
    EXPECT_EQ(CFErrorCopyDescription(failure.get()), nullptr);
    EXPECT_EQ(CFErrorCopyFailureReason(failure.get()), nullptr);
}

TEST(cf_error, each_text_is_there_only_when_it_was_given) {
    const auto described = error(
        1, make_dictionary({{kCFErrorLocalizedDescriptionKey, make_string("what").get()}}).get());
    EXPECT_EQ(CFErrorCopyFailureReason(described.get()), nullptr);
    const handle<CFStringRef> description(CFErrorCopyDescription(described.get()));
    ASSERT_TRUE(description);
    EXPECT_EQ(text_of(description.get()), "what");

    const auto explained = error(
        1, make_dictionary({{kCFErrorLocalizedFailureReasonKey, make_string("why").get()}}).get());
    EXPECT_EQ(CFErrorCopyDescription(explained.get()), nullptr);
    const handle<CFStringRef> reason(CFErrorCopyFailureReason(explained.get()));
    ASSERT_TRUE(reason);
    EXPECT_EQ(text_of(reason.get()), "why");
}

TEST(cf_error, a_copied_text_is_the_callers) {
    const auto failure = error(
        1, make_dictionary({{kCFErrorLocalizedDescriptionKey, make_string("what").get()}}).get());
    handle<CFStringRef>(CFErrorCopyDescription(failure.get())).reset();
    EXPECT_EQ(simulator::live_objects()["CFString"], 1);
}

TEST(cf_error, later_changes_of_the_user_information_do_not_reach_it) {
    const auto info = make_dictionary();
    const auto failure = error(1, info.get());
    CFDictionarySetValue(info.get(), kCFErrorLocalizedDescriptionKey, CFSTR("late"));
    EXPECT_EQ(CFErrorCopyDescription(failure.get()), nullptr);
}

TEST(cf_error, a_text_that_is_no_string_is_none) {
    const auto failure =
        error(1, make_dictionary({{kCFErrorLocalizedDescriptionKey, kCFBooleanTrue}}).get());
    EXPECT_EQ(CFErrorCopyDescription(failure.get()), nullptr);
}

TEST(cf_error, its_description_names_domain_code_and_texts) {
    EXPECT_EQ(description_of(error(3, nullptr).get()), "Error Domain=test Code=3");
    EXPECT_EQ(
        description_of(error(3, make_dictionary({{kCFErrorLocalizedDescriptionKey, CFSTR("what")},
                                                 {kCFErrorLocalizedFailureReasonKey, CFSTR("why")}})
                                    .get())
                           .get()),
        "Error Domain=test Code=3 \"what\" \"why\"");
}

} // namespace
