/// `--output-pipe` with an inherited pipe.

#include "tests/tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace vandrel::testing;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;

constexpr auto some_ecid = "00000000000000AB";

dictionary restoring(const array& reports) {
    return {{"Devices",
             array{recovery_device(some_ecid, {{"Restore", dictionary{{"Reports", reports}}}})}}};
}

dictionary step(int operation, int progress, const dictionary& more = {}) {
    dictionary report{{"Status", "Restoring"}, {"Operation", operation}, {"Progress", progress}};
    report.insert(more.begin(), more.end());
    return {{"After", 0}, {"Report", report}};
}

// run() itself refuses a pipe that holds anything but documents that directly follow each other.
TEST(output_pipe, records_reach_the_pipe_back_to_back_and_standard_output_stays_empty) {
    const tool_run run = tool_call({"--restore", "x.ipsw", "--ecid", some_ecid})
                             .scenario(restoring({step(9, 0), step(13, 50), step(0, 100)}))
                             .with_pipe()
                             .run();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.standard_output, "");
    EXPECT_EQ(run.standard_error, "");
    ASSERT_EQ(run.documents.size(), 3U);
    EXPECT_EQ(run.pipe, run.documents[0] + run.documents[1] + run.documents[2]);
    EXPECT_THAT(run.pipe, EndsWith("</plist>\n"));
    EXPECT_EQ(run.records[1].at("Value").at("Orv_OperationName"), plist_value("Restoring image"));
}

TEST(output_pipe, diagnostics_still_go_to_standard_error) {
    const tool_run run = tool_call({"--list-devices", "--detect-timeout", "0", "--debug"})
                             .scenario({{"Devices", array{}}})
                             .with_pipe()
                             .run();
    EXPECT_EQ(run.standard_output, "");
    EXPECT_THAT(run.records,
                ElementsAre(plist_value(dictionary{{"Type", "DeviceList"}, {"Value", array{}}})));
    EXPECT_THAT(run.diagnostics, Contains(EndsWith(": initializing")));
}

TEST(output_pipe, help_still_goes_to_standard_error) {
    const tool_run run = tool_call({"--help"}).with_pipe().run();
    EXPECT_EQ(run.pipe, "");
    EXPECT_EQ(run.diagnostics.front(), "Program options:");
}

TEST(output_pipe, a_refused_command_is_reported_on_the_pipe) {
    const tool_run run = tool_call({"--erase"}).with_pipe().run();
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.standard_output, "");
    EXPECT_THAT(run.records,
                ElementsAre(tool_error_record(3, "Bad command",
                                              "Option --erase only compatible with --restore")));
}

TEST(output_pipe, a_command_line_that_cannot_be_parsed_is_reported_on_standard_output) {
    // The library returns values only if it can parse the whole line, so the channel has no pipe.
    const tool_run run = tool_call({"--frobnicate"}).with_pipe().run();
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.pipe, "");
    const auto documents = split_documents(run.standard_output, "\n");
    ASSERT_EQ(documents.size(), 1U);
    EXPECT_EQ(from_xml(documents[0]),
              tool_error_record(3, "Bad command", "unrecognised option '--frobnicate'"));
}

TEST(output_pipe, a_record_larger_than_one_write_arrives_whole) {
    std::string large;
    for (int line = 0; large.size() < 300'000; ++line) {
        large += "line " + std::to_string(line) + "\n";
    }
    const tool_run run = tool_call({"--restore", "x.ipsw", "--ecid", some_ecid})
                             .scenario(restoring({step(13, 1, {{"Log", large}}), step(0, 100)}))
                             .with_pipe()
                             .run();
    EXPECT_EQ(run.status, 0);
    ASSERT_EQ(run.records.size(), 2U);
    EXPECT_EQ(run.records[0].at("Value").at("Log"), plist_value(large));
}

} // namespace
