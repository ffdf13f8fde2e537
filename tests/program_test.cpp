#include "tests/program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace vandrel::testing {

namespace {

using ::testing::AnyOf;
using ::testing::HasSubstr;

std::string path_of(const std::string& program) {
    return (std::filesystem::path(program_folder()) / program_file_name(program)).string();
}

program_call echo(std::vector<std::string> arguments) {
    program_call call;
    call.program = path_of("echo_program");
    call.arguments = std::move(arguments);
    return call;
}

program_result run(const std::vector<std::string>& arguments) {
    return run_program(echo(arguments));
}

/// One argument as the program receives it.
std::string seen(const std::string& argument) {
    const auto output = run({"print-arguments", argument, "end"}).standard_output;
    EXPECT_TRUE(output.ends_with("\n3:end\n")) << output;
    return output.substr(0, output.size() - std::string("\n3:end\n").size());
}

} // namespace

TEST(run_program, passes_on_arguments_with_blanks) {
    EXPECT_EQ(seen("two words"), "9:two words");
    EXPECT_EQ(seen(" at both ends "), "14: at both ends ");
    EXPECT_EQ(seen("a\ttab"), "5:a\ttab");
}

TEST(run_program, passes_on_an_empty_argument) {
    EXPECT_EQ(seen(""), "0:");
}

TEST(run_program, passes_on_quotation_marks) {
    EXPECT_EQ(seen(R"(say "yes")"), R"(9:say "yes")");
    EXPECT_EQ(seen(R"(")"), R"(1:")");
    EXPECT_EQ(seen(R"("")"), R"(2:"")");
    EXPECT_EQ(seen("it's"), "4:it's");
}

TEST(run_program, passes_on_backslashes) {
    EXPECT_EQ(seen(R"(C:\some folder\)"), R"(15:C:\some folder\)");
    EXPECT_EQ(seen(R"(\\host\share\\)"), R"(14:\\host\share\\)");
    EXPECT_EQ(seen(R"(a\\b)"), R"(4:a\\b)");
}

TEST(run_program, passes_on_backslashes_before_quotation_marks) {
    EXPECT_EQ(seen(R"(a\"b)"), R"(4:a\"b)");
    EXPECT_EQ(seen(R"(a\\"b)"), R"(5:a\\"b)");
    EXPECT_EQ(seen(R"(a b\\")"), R"(6:a b\\")");
}

TEST(run_program, passes_on_what_a_shell_would_expand) {
    EXPECT_EQ(seen("*"), "1:*");
    EXPECT_EQ(seen("$HOME %PATH% ^&|<>"), "18:$HOME %PATH% ^&|<>");
}

TEST(run_program, passes_on_other_scripts) {
    EXPECT_EQ(seen("файл"), "8:файл");
    EXPECT_EQ(seen("恢复固件"), "12:恢复固件");
    EXPECT_EQ(seen("a😀b"), "6:a😀b");
}

TEST(run_program, passes_on_no_arguments_but_its_own) {
    EXPECT_EQ(run({"print-arguments"}).standard_output, "");
}

TEST(run_program, gives_the_status_of_the_program) {
    EXPECT_EQ(run({"exit", "0"}).status, 0);
    EXPECT_EQ(run({"exit", "8"}).status, 8);
    EXPECT_EQ(run({"exit", "64"}).status, 64);
}

// An aborted program ends with a signal, or on Windows with the exit status 3.
TEST(run_program, distinguishes_a_crash_from_a_status) {
    EXPECT_THAT(run({"abort"}).status, AnyOf(-SIGABRT, 3));
}

TEST(run_program, adds_to_the_environment) {
    program_call call = echo({"print-variables", "VANDREL_TEST_ONE", "VANDREL_TEST_TWO"});
    call.environment = {{"VANDREL_TEST_ONE", "with blank"}};
    EXPECT_EQ(run_program(call).standard_output, "with blank\n(none)\n");
}

TEST(run_program, replaces_what_is_in_the_environment) {
    program_call call = echo({"print-variables", "PATH"});
    call.environment = {{"PATH", "elsewhere"}};
    EXPECT_EQ(run_program(call).standard_output, "elsewhere\n");
}

TEST(run_program, keeps_the_rest_of_the_environment) {
    EXPECT_NE(run({"print-variables", "PATH"}).standard_output, "(none)\n");
}

TEST(run_program, gives_the_program_an_empty_input) {
    EXPECT_EQ(run({"count-input"}).standard_output, "0\n");
}

TEST(run_program, reads_both_streams_to_the_end_however_much_they_carry) {
    const program_result result = run({"flood", "3000000"});
    EXPECT_EQ(result.standard_output.size(), 3'000'000U);
    EXPECT_EQ(result.standard_error.size(), 3'000'000U);
    EXPECT_EQ(result.status, 0);
}

TEST(run_program, reads_an_inherited_pipe) {
    program_call call = echo({"write-pipe", "{pipe}", "through the pipe"});
    call.inherits_pipe = true;
    const program_result result = run_program(call);
    EXPECT_EQ(result.pipe, "through the pipe");
    EXPECT_EQ(result.standard_output, "");
    EXPECT_EQ(result.standard_error, "");
    EXPECT_EQ(result.status, 0);
}

TEST(run_program, reads_the_pipe_to_the_end_however_much_it_carries) {
    program_call call = echo({"flood-pipe", "{pipe}", "3000000"});
    call.inherits_pipe = true;
    EXPECT_EQ(run_program(call).pipe.size(), 3'000'000U);
}

TEST(run_program, ends_a_program_that_hangs) {
    program_call call = echo({"hang"});
    call.limit = std::chrono::seconds(1);
    try {
        run_program(call);
        FAIL() << "the program does not hang";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), HasSubstr("did not end"));
    }
}

TEST(run_program, cannot_start_what_is_not_there) {
    program_call call;
    call.program = path_of("no_such_program");
    EXPECT_THROW(run_program(call), std::system_error);
}

} // namespace vandrel::testing
