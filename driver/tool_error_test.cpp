#include "driver/tool_error.h"
#include "foundation/cf_text.h"
#include "simulator/core_foundation/accounting.h"

#include <gtest/gtest.h>

namespace {

using namespace vandrel;

std::string description_of(std::int32_t code) {
    const auto error = make_tool_error(tool_error{code}, "detail");
    return cfstring_to_string(cf_handle<CFStringRef>(CFErrorCopyDescription(error.get())).get());
}

cf_error_handle make_foreign_error(CFIndex code) {
    return cf_error_handle(CFErrorCreate(kCFAllocatorDefault, CFSTR("usb"), code, nullptr));
}

TEST(make_tool_error, the_error_carries_domain_code_and_failure_reason) {
    const auto error = make_tool_error(tool_error::bad_command, "Invalid command option");
    EXPECT_EQ(cfstring_to_string(CFErrorGetDomain(error.get())), "vandrel");
    EXPECT_EQ(CFErrorGetCode(error.get()), 3);
    const cf_handle<CFStringRef> reason(CFErrorCopyFailureReason(error.get()));
    EXPECT_EQ(cfstring_to_string(reason.get()), "Invalid command option");
}

TEST(make_tool_error, every_code_has_its_description) {
    EXPECT_EQ(description_of(0), "No error");
    EXPECT_EQ(description_of(2), "Invalid argument");
    EXPECT_EQ(description_of(3), "Bad command");
    EXPECT_EQ(description_of(4), "Bad ECID specified");
    EXPECT_EQ(description_of(5), "Device is in bad state");
    EXPECT_EQ(description_of(6), "Recovery mode command failed");
    EXPECT_EQ(description_of(7), "Restore did not complete before timeout expired");
    EXPECT_EQ(description_of(8), "Read error");
}

TEST(make_tool_error, code_1_is_an_unknown_error) {
    EXPECT_EQ(description_of(1), "Unknown error");
}

TEST(make_tool_error, a_code_without_a_name_is_an_unknown_error) {
    EXPECT_EQ(description_of(9), "Unknown error");
    EXPECT_EQ(description_of(-1), "Unknown error");
}

TEST(make_tool_error, a_detail_that_is_no_utf8_leaves_the_failure_reason_out) {
    const auto error = make_tool_error(tool_error::read_error, "broken \xFF");
    EXPECT_EQ(CFErrorCopyFailureReason(error.get()), nullptr);
    EXPECT_EQ(CFErrorGetCode(error.get()), 8);
}

TEST(make_out_of_memory_error, it_is_an_unknown_error_that_says_so) {
    const auto error = make_out_of_memory_error();
    EXPECT_EQ(CFErrorGetCode(error.get()), 1);
    const cf_handle<CFStringRef> reason(CFErrorCopyFailureReason(error.get()));
    EXPECT_EQ(cfstring_to_string(reason.get()), "std::bad_alloc");
}

TEST(make_out_of_memory_error, it_is_null_when_it_cannot_be_made_either) {
    // The texts' dictionary and the reason come before the error itself.
    simulator::fail_creation(3);
    EXPECT_EQ(make_out_of_memory_error(), nullptr);
}

TEST(tool_exit_code, no_error_is_0) {
    EXPECT_EQ(tool_exit_code(nullptr), 0);
}

TEST(tool_exit_code, code_8_is_8) {
    EXPECT_EQ(tool_exit_code(make_foreign_error(8).get()), 8);
}

TEST(tool_exit_code, code_9_is_1) {
    EXPECT_EQ(tool_exit_code(make_foreign_error(9).get()), 1);
}

TEST(tool_exit_code, code_minus_1_is_1) {
    EXPECT_EQ(tool_exit_code(make_foreign_error(-1).get()), 1);
}

TEST(tool_exit_code, the_domain_is_ignored) {
    EXPECT_EQ(tool_exit_code(make_foreign_error(3).get()), 3);
}

TEST(tool_exit_code, only_the_low_32_bits_of_a_code_count) {
    EXPECT_EQ(tool_exit_code(make_foreign_error(0x1'0000'0005).get()), 5);
}

} // namespace
