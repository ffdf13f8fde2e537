#include "device/restore_status.h"
#include "foundation/cf_handle.h"
#include "simulator/core_foundation/string.h"

#include <gtest/gtest.h>

namespace {

using namespace vandrel;

cf_handle<CFNumberRef> make_number(std::int64_t value) {
    return cf_handle<CFNumberRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value));
}

cf_handle<CFMutableDictionaryRef> make_report(CFTypeRef status, CFTypeRef operation,
                                              CFTypeRef progress) {
    cf_handle<CFMutableDictionaryRef> report(CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    const auto set = [&report](CFStringRef key, CFTypeRef value) {
        if (value != nullptr) {
            CFDictionarySetValue(report.get(), key, value);
        }
    };
    set(CFSTR("Status"), status);
    set(CFSTR("Operation"), operation);
    set(CFSTR("Progress"), progress);
    return report;
}

cf_handle<CFNumberRef> nine() {
    return make_number(9);
}

cf_handle<CFNumberRef> percent() {
    return make_number(55);
}

cf_handle<CFNumberRef> beyond_32_bits() {
    return make_number(0x1'0000'0000);
}

bool is_valid(CFTypeRef status, CFTypeRef operation, CFTypeRef progress) {
    return parse_restore_status(make_report(status, operation, progress).get()).has_value();
}

TEST(parse_restore_status, a_complete_report_gives_its_three_values) {
    const auto status =
        parse_restore_status(make_report(CFSTR("Restoring"), nine().get(), percent().get()).get());
    ASSERT_TRUE(status);
    EXPECT_EQ(status->status, "Restoring");
    EXPECT_EQ(status->operation, 9);
    EXPECT_EQ(status->progress, 55);
}

TEST(parse_restore_status, progress_may_need_64_bits) {
    const auto status = parse_restore_status(
        make_report(CFSTR("Restoring"), nine().get(), beyond_32_bits().get()).get());
    ASSERT_TRUE(status);
    EXPECT_EQ(status->progress, 4294967296);
}

TEST(parse_restore_status, each_of_the_three_is_required) {
    EXPECT_FALSE(is_valid(nullptr, nine().get(), percent().get()));
    EXPECT_FALSE(is_valid(CFSTR("Restoring"), nullptr, percent().get()));
    EXPECT_FALSE(is_valid(CFSTR("Restoring"), nine().get(), nullptr));
}

TEST(parse_restore_status, each_of_the_three_has_its_type) {
    EXPECT_FALSE(is_valid(nine().get(), nine().get(), percent().get()));
    EXPECT_FALSE(is_valid(CFSTR("Restoring"), CFSTR("9"), percent().get()));
    EXPECT_FALSE(is_valid(CFSTR("Restoring"), nine().get(), kCFBooleanTrue));
}

TEST(parse_restore_status, a_status_without_a_utf8_form_does_not_convert) {
    const cf_handle<CFStringRef> status(simulator::make_unpaired_surrogate());
    EXPECT_FALSE(is_valid(status.get(), nine().get(), percent().get()));
}

TEST(parse_restore_status, an_operation_beyond_32_bits_does_not_convert) {
    EXPECT_FALSE(is_valid(CFSTR("Restoring"), beyond_32_bits().get(), percent().get()));
}

TEST(parse_restore_status, what_is_no_dictionary_is_no_report) {
    EXPECT_FALSE(parse_restore_status(
        static_cast<CFDictionaryRef>(static_cast<CFTypeRef>(CFSTR("Restoring")))));
}

} // namespace
