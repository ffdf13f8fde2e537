/// Threads that the system refuses to start because there is no room for their stacks.

#include "tests/tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

namespace {

using namespace vandrel::testing;

/// A listing whose threads each need a stack of 1 GiB, with an address space of this many KiB.
program_result list_devices_within(const std::string& kibibytes) {
    const auto program =
        std::filesystem::path(program_folder()) / program_file_name(tested_program());
    program_call call;
    call.program = "/bin/sh";
    call.arguments = {"-c",
                      "ulimit -s 1048576; ulimit -v " + kibibytes + "; exec \"$0\" --list-devices",
                      program.string()};
    return run_program(call);
}

void expect_the_process_to_have_ended(const program_result& run) {
    EXPECT_EQ(run.status, -SIGABRT);
    EXPECT_EQ(run.standard_output, "");
    EXPECT_THAT(run.standard_error, ::testing::HasSubstr("std::system_error"));
    EXPECT_THAT(run.standard_error, ::testing::HasSubstr("Resource temporarily unavailable"));
}

TEST(threads, without_a_writer_the_process_ends) {
    expect_the_process_to_have_ended(list_devices_within("524288"));
}

TEST(threads, without_a_worker_the_process_ends) {
    // Room only for the writer.
    expect_the_process_to_have_ended(list_devices_within("1572864"));
}

} // namespace
