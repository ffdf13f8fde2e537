/// An application that starts the tool with its own pipe: slow reading, the end of reading, many
/// tools at once, and numbers that are no pipes.

#include "tests/file_content.h"
#include "tests/foreign_handle.h"
#include "tests/temporary_folder.h"
#include "tests/tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

namespace {

using namespace vandrel::testing;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr auto some_ecid = "00000000000000AB";

/// An aborted program ends with a signal, or on Windows with the exit status 3.
const auto a_crash = AnyOf(-SIGABRT, 3);

/// The pipe is full before all of this is written, so the tool blocks until it is read.
const std::string more_than_the_pipe_holds(100'000, 'x');

dictionary step(int operation, int progress, const dictionary& more = {}) {
    dictionary report{{"Status", "Restoring"}, {"Operation", operation}, {"Progress", progress}};
    report.insert(more.begin(), more.end());
    return {{"After", 0}, {"Report", report}};
}

const dictionary in_a_long_time{{"After", 1e6}, {"Report", dictionary{}}};

/// A tool that waits for the device as long as it takes.
tool_call restore_with(const array& reports, const std::string& ecid = some_ecid) {
    return tool_call({"--restore", "x.ipsw", "--ecid", ecid, "--detect-timeout", "1000"})
        .scenario({{"Devices",
                    array{recovery_device(ecid, {{"Restore", dictionary{{"Reports", reports}}}})}}})
        .with_pipe();
}

tool_call restore_of_an_absent_device(const std::string& ecid) {
    return tool_call({"--restore", "x.ipsw", "--ecid", ecid, "--detect-timeout", "1"})
        .scenario({{"Devices", array{recovery_device(some_ecid)}}})
        .with_pipe();
}

tool_call restore_with_a_large_record() {
    return restore_with({step(13, 1, {{"Log", more_than_the_pipe_holds}}), step(0, 100)});
}

tool_call listing_to(std::intptr_t number) {
    return tool_call(
               {"--list-devices", "--detect-timeout", "0", "--output-pipe", std::to_string(number)})
        .scenario({{"Devices", array{}}});
}

/// The next record in the pipe.
std::string read_record(running_tool& tool) {
    const std::string last_line = "</plist>\n";
    std::string record;
    while (!record.ends_with(last_line)) {
        const std::string byte = tool.read_pipe(1);
        if (byte.empty()) {
            throw std::runtime_error("the pipe ended after " + record);
        }
        record += byte;
    }
    return record;
}

} // namespace

TEST(controlling_application, reads_a_record_while_the_tool_goes_on) {
    running_tool tool = restore_with({step(9, 0), in_a_long_time}).start();
    EXPECT_EQ(from_xml(read_record(tool)).at("Value").at("Operation"), plist_value(9));
}

TEST(controlling_application, gets_every_byte_when_it_reads_one_at_a_time) {
    running_tool tool = restore_with_a_large_record().start();
    while (!tool.read_pipe(1).empty()) {
    }
    const tool_run run = tool.wait();
    EXPECT_EQ(run.status, 0);
    ASSERT_EQ(run.records.size(), 2U);
    EXPECT_EQ(run.records[0].at("Value").at("Log"), plist_value(more_than_the_pipe_holds));
    EXPECT_EQ(run.records[1].at("Value").at("Progress"), plist_value(100));
    EXPECT_THAT(tool.temporary_files(), IsEmpty());
}

TEST(controlling_application, that_stops_reading_in_a_record_aborts_the_tool) {
    running_tool tool =
        restore_with({step(13, 1, {{"Log", more_than_the_pipe_holds}}), in_a_long_time}).start();
    EXPECT_EQ(tool.read_pipe(5), "<?xml");
    tool.close_pipe();
    const tool_run run = tool.wait();
    EXPECT_THAT(run.status, a_crash);
    EXPECT_EQ(run.standard_output, "");
    EXPECT_THAT(run.standard_error, HasSubstr("write: "));
    EXPECT_THAT(tool.temporary_files(), ElementsAre(StartsWith("vandrel.")));
}

TEST(controlling_application, that_stops_reading_between_records_ends_the_tool_with_the_next) {
    running_tool tool =
        restore_with({step(9, 0), step(13, 1, {{"Log", more_than_the_pipe_holds}}), step(0, 100)})
            .start();
    EXPECT_EQ(from_xml(read_record(tool)).at("Value").at("Operation"), plist_value(9));
    tool.close_pipe();
    const tool_run run = tool.wait();
    EXPECT_THAT(run.status, a_crash);
    EXPECT_THAT(run.standard_error, HasSubstr("write: "));
}

TEST(controlling_application, that_stops_reading_after_the_last_record_leaves_the_status_0) {
    running_tool tool = restore_with({step(0, 100)}).start();
    read_record(tool);
    tool.close_pipe();
    EXPECT_EQ(tool.wait().status, 0);
}

// Each is blocked in the middle of a record until all of them run. Those whose device is not
// attached cannot be blocked, because they write no long record.
TEST(controlling_application, runs_64_tools_at_once) {
    const auto ecid_of = [](int i) { return "00000000000000" + std::to_string(10 + i); };
    const auto is_attached = [](int i) { return i % 8 != 7; };
    std::vector<running_tool> tools;
    for (int i = 0; i < 64; ++i) {
        const array reports{step(13, i, {{"Log", more_than_the_pipe_holds}}), step(0, 100)};
        tools.push_back((is_attached(i) ? restore_with(reports, ecid_of(i))
                                        : restore_of_an_absent_device(ecid_of(i)))
                            .start());
    }
    for (running_tool& tool : tools) {
        EXPECT_EQ(tool.read_pipe(1), "<");
    }
    for (int i = 0; i < 64; ++i) {
        SCOPED_TRACE(i);
        running_tool& tool = tools[static_cast<std::size_t>(i)];
        const tool_run run = tool.wait();
        EXPECT_EQ(run.standard_output, "");
        EXPECT_EQ(run.standard_error, "");
        EXPECT_THAT(tool.temporary_files(), IsEmpty());
        if (is_attached(i)) {
            EXPECT_EQ(run.status, 0);
            ASSERT_EQ(run.records.size(), 2U);
            EXPECT_EQ(run.records[0].at("Value").at("Progress"), plist_value(i));
            EXPECT_EQ(run.records[1].at("Value").at("Progress"), plist_value(100));
        } else {
            EXPECT_EQ(run.status, 4);
            EXPECT_THAT(run.records,
                        ElementsAre(tool_error_record(4, "Bad ECID specified",
                                                      "Failed to find device with ecid " +
                                                          ecid_of(i) + " after 1 seconds")));
        }
    }
}

TEST(invalid_output_pipe, a_number_that_is_no_handle_aborts_the_tool) {
    const tool_run run = listing_to(987'654).run();
    EXPECT_THAT(run.status, a_crash);
    EXPECT_EQ(run.standard_output, "");
    EXPECT_THAT(run.standard_error, HasSubstr("assign: "));
}

TEST(invalid_output_pipe, a_negative_number_aborts_the_tool) {
    const tool_run run = listing_to(-1).run();
    EXPECT_THAT(run.status, a_crash);
    EXPECT_EQ(run.standard_output, "");
    EXPECT_THAT(run.standard_error, HasSubstr("assign: "));
}

TEST(invalid_output_pipe, a_handle_of_another_kind_aborts_the_tool) {
    const auto handle = foreign_handle::of_another_kind();
    const tool_run run = listing_to(handle.number()).inheriting(handle.number()).run();
    EXPECT_THAT(run.status, a_crash);
    EXPECT_EQ(run.standard_output, "");
    EXPECT_THAT(run.standard_error, AnyOf(HasSubstr("assign: "), HasSubstr("write: ")));
}

TEST(invalid_output_pipe, a_file_is_written_like_a_pipe) {
    const temporary_folder folder;
    const auto file = foreign_handle::of_file(folder.path() / "records");
    const tool_run run = listing_to(file.number()).inheriting(file.number()).run();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.standard_output, "");
    EXPECT_EQ(from_xml(read_file(folder.path() / "records")),
              plist_value(dictionary{{"Type", "DeviceList"}, {"Value", array{}}}));
}
