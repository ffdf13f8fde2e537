#include "debug/MobileDeviceDebug.h"
#include "tests/channel_capture.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using namespace vandrel;
using vandrel::testing::channel_capture;

/// The lines of one dump.
std::vector<std::string> lines_of(void (*dump)(std::shared_ptr<output_str_state>)) {
    channel_capture capture;
    dump(capture.channel());
    return capture.finish().diagnostics;
}

std::string assertion_of(void (*dump)(std::shared_ptr<output_str_state>)) {
    try {
        dump(nullptr);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "none";
}

std::optional<std::string> line_of(CFStringRef text) {
    return case_line(7, text, {CFSTR("Unrecognized error"), CFSTR("Unrecognized server error")});
}

TEST(case_line, holds_the_text_as_it_stands) {
    EXPECT_EQ(line_of(CFSTR("File error")), "case 7: return copyString(CFSTR(\"File error\"));");
    EXPECT_EQ(line_of(CFSTR("a \"b\\c\" %d {}")),
              "case 7: return copyString(CFSTR(\"a \"b\\c\" %d {}\"));");
}

TEST(case_line, is_skipped_for_a_text_that_begins_with_excluded_words) {
    EXPECT_EQ(line_of(CFSTR("Unrecognized error")), std::nullopt);
    EXPECT_EQ(line_of(CFSTR("Unrecognized error 7")), std::nullopt);
    EXPECT_EQ(line_of(CFSTR("Unrecognized server error (7)")), std::nullopt);
}

TEST(case_line, is_kept_for_a_text_that_holds_excluded_words_later_or_in_part) {
    EXPECT_EQ(line_of(CFSTR("An Unrecognized error")),
              "case 7: return copyString(CFSTR(\"An Unrecognized error\"));");
    EXPECT_EQ(line_of(CFSTR("Unrecognized bbupdater error")),
              "case 7: return copyString(CFSTR(\"Unrecognized bbupdater error\"));");
    EXPECT_EQ(line_of(CFSTR("unrecognized error")),
              "case 7: return copyString(CFSTR(\"unrecognized error\"));");
}

TEST(case_line, is_skipped_for_a_null_text) {
    EXPECT_EQ(line_of(nullptr), std::nullopt);
}

TEST(operation_dump, holds_a_line_for_each_code_from_0_to_999) {
    const auto lines = lines_of(print_imp_AMRLocalizedCopyStringForAMROperation);
    ASSERT_EQ(lines.size(), 1002U);
    EXPECT_EQ(lines[0], "==== AMRLocalizedCopyStringForAMROperation ====");
    EXPECT_EQ(lines[1], "case 0: return copyString(CFSTR(\"Unknown\"));");
    EXPECT_EQ(lines[2], "case 1: return copyString(CFSTR(\"Unknown\"));");
    EXPECT_EQ(lines[18], "case 17: return copyString(CFSTR(\"Fixing up /var\"));");
    EXPECT_EQ(lines[205], "case 204: return copyString(CFSTR(\"Booting\"));");
    EXPECT_EQ(lines[206], "case 205: return copyString(CFSTR(\"Booting\"));");
    EXPECT_EQ(lines[207], "case 206: return copyString(CFSTR(\"Booting\"));");
    EXPECT_EQ(lines[1000], "case 999: return copyString(CFSTR(\"Unknown\"));");
    EXPECT_EQ(lines[1001], "");
}

TEST(error_dump, holds_a_line_for_each_code_from_0_to_9999) {
    const auto lines = lines_of(print_imp_AMRLocalizedCopyStringForAMRError);
    ASSERT_EQ(lines.size(), 10002U);
    EXPECT_EQ(lines[0], "==== AMRLocalizedCopyStringForAMRError ====");
    EXPECT_EQ(lines[1], "case 0: return copyString(CFSTR(\"Unknown\"));");
    EXPECT_EQ(lines[2103],
              "case 2102: return copyString(CFSTR(\"Not enough space to install recovery OS \"));");
    EXPECT_EQ(lines[10000], "case 9999: return copyString(CFSTR(\"Unknown\"));");
    EXPECT_EQ(lines[10001], "");
}

TEST(operation_dump, needs_a_channel) {
    EXPECT_EQ(assertion_of(print_imp_AMRLocalizedCopyStringForAMROperation),
              "debug/MobileDeviceDebug.cpp:15:  "
              "void __cdecl vandrel::print_imp_AMRLocalizedCopyStringForAMROperation("
              "class std::shared_ptr<class vandrel::output_str_state>) "
              "Assertion output failed.");
}

TEST(error_dump, needs_a_channel) {
    EXPECT_EQ(assertion_of(print_imp_AMRLocalizedCopyStringForAMRError),
              "debug/MobileDeviceDebug.cpp:31:  "
              "void __cdecl vandrel::print_imp_AMRLocalizedCopyStringForAMRError("
              "class std::shared_ptr<class vandrel::output_str_state>) "
              "Assertion output failed.");
}

TEST(operation_dump, gives_its_share_of_the_channel_back) {
    channel_capture capture;
    const auto channel = capture.channel();
    const auto shares = channel.use_count();
    print_imp_AMRLocalizedCopyStringForAMROperation(channel);
    EXPECT_EQ(channel.use_count(), shares);
    capture.finish();
}

} // namespace
