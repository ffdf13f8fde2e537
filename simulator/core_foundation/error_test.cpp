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

TEST(cf_error, a_description_that_is_a_number_comes_back_as_it_is) {
    const auto failure =
        error(1, make_dictionary({{kCFErrorLocalizedDescriptionKey, make_number(5).get()}}).get());
    const handle<CFStringRef> description(CFErrorCopyDescription(failure.get()));
    ASSERT_TRUE(description);
    EXPECT_TRUE(CFEqual(description.get(), make_number(5).get()));
}

/// The reason that an error of a domain has without being given one; "(none)" for null.
std::string reason_of(CFStringRef domain, CFIndex code) {
    const handle<CFErrorRef> failure(CFErrorCreate(kCFAllocatorDefault, domain, code, nullptr));
    const handle<CFStringRef> reason(CFErrorCopyFailureReason(failure.get()));
    return reason ? text_of(reason.get()) : "(none)";
}

TEST(cf_error, a_posix_error_has_the_systems_reason) {
    EXPECT_EQ(reason_of(CFSTR("NSPOSIXErrorDomain"), 2), "No such file or directory");
    EXPECT_EQ(reason_of(CFSTR("NSPOSIXErrorDomain"), 13), "Permission denied");
    EXPECT_EQ(reason_of(CFSTR("NSPOSIXErrorDomain"), 0x100000002), "(none)");
    EXPECT_EQ(reason_of(CFSTR("test"), 2), "(none)");
}

TEST(cf_error, a_posix_error_keeps_the_reason_that_it_was_given) {
    const auto info =
        make_dictionary({{kCFErrorLocalizedFailureReasonKey, make_string("why").get()}});
    const handle<CFErrorRef> failure(
        CFErrorCreate(kCFAllocatorDefault, CFSTR("NSPOSIXErrorDomain"), 2, info.get()));
    const handle<CFStringRef> reason(CFErrorCopyFailureReason(failure.get()));
    EXPECT_EQ(text_of(reason.get()), "why");
}

TEST(cf_error, its_description_names_domain_code_and_texts) {
    EXPECT_EQ(description_of(error(3, nullptr).get()), "Error Domain=test Code=3");
    EXPECT_EQ(
        description_of(error(3, make_dictionary({{kCFErrorLocalizedDescriptionKey, CFSTR("what")},
                                                 {kCFErrorLocalizedFailureReasonKey, CFSTR("why")}})
                                    .get())
                           .get()),
        "Error Domain=test Code=3 \"what\" \"why\"");
    EXPECT_EQ(description_of(
                  error(3, make_dictionary({{CFSTR("NSDebugDescription"), CFSTR("detail")}}).get())
                      .get()),
              "Error Domain=test Code=3 \"detail\"");
}

} // namespace
