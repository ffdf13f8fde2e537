/// `--debug-dump`.

#include "tests/tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace vandrel::testing;
using ::testing::IsEmpty;

TEST(debug_dump, writes_both_tables_to_standard_error_and_nothing_elsewhere) {
    const tool_run run = tool_call({"--debug-dump"}).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.standard_output, "");
    const auto& lines = run.diagnostics;
    ASSERT_EQ(lines.size(), 11004U);
    EXPECT_EQ(std::ranges::count(run.standard_error, '\n'), 11004);
    EXPECT_EQ(lines[0], "==== AMRLocalizedCopyStringForAMROperation ====");
    EXPECT_EQ(lines[1001], "");
    EXPECT_EQ(lines[1002], "==== AMRLocalizedCopyStringForAMRError ====");
    EXPECT_EQ(lines[11003], "");
    for (int code = 0; code < 1000; ++code) {
        EXPECT_TRUE(lines[1U + static_cast<unsigned>(code)].starts_with(
            "case " + std::to_string(code) + ": return copyString(CFSTR(\""));
    }
    for (int code = 0; code < 10000; ++code) {
        EXPECT_TRUE(lines[1003U + static_cast<unsigned>(code)].starts_with(
            "case " + std::to_string(code) + ": return copyString(CFSTR(\""));
    }
}

TEST(debug_dump, shows_the_texts_as_they_are) {
    const auto lines = tool_call({"--debug-dump"}).run().diagnostics;
    ASSERT_EQ(lines.size(), 11004U);
    EXPECT_EQ(lines[18], "case 17: return copyString(CFSTR(\"Fixing up /var\"));");
    EXPECT_EQ(lines[209], "case 208: return copyString(CFSTR(\"Waiting, position %d\"));");
    EXPECT_EQ(lines[1003], "case 0: return copyString(CFSTR(\"Unknown\"));");
    EXPECT_EQ(lines[3105],
              "case 2102: return copyString(CFSTR(\"Not enough space to install recovery OS \"));");
    EXPECT_EQ(lines[11002], "case 9999: return copyString(CFSTR(\"Unknown\"));");
}

TEST(debug_dump, writes_nothing_to_the_pipe) {
    const tool_run run = tool_call({"--debug-dump"}).with_pipe().run();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.pipe, "");
    EXPECT_EQ(run.standard_output, "");
    EXPECT_EQ(run.diagnostics.size(), 11004U);
}

TEST(debug_dump, is_all_that_a_run_does) {
    const tool_run run = tool_call({"--list-devices", "--erase", "--debug-dump"}).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, IsEmpty());
    EXPECT_THAT(run.journal, IsEmpty());
    EXPECT_EQ(run.diagnostics.size(), 11004U);
}

TEST(debug_dump, help_takes_precedence) {
    const tool_run run = tool_call({"--debug-dump", "--help"}).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.diagnostics.at(0), "Program options:");
}

TEST(debug_dump, is_not_written_without_the_option) {
    const tool_run run = tool_call({"--list-devices", "--detect-timeout", "0", "--debug"}).run();
    EXPECT_EQ(run.standard_error.find("case "), std::string::npos);
}

} // namespace
