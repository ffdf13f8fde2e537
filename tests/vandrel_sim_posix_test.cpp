/// vandrel-sim on POSIX: streams that are closed before the start, and folders.

#include "tests/file_content.h"
#include "tests/plist_value.h"
#include "tests/program.h"
#include "tests/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace vandrel::testing;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr int aborted = -6;

class closed_streams {
public:
    /// Runs vandrel-sim with a journal; the shell first closes streams with these redirections.
    program_result run(const std::string& redirections,
                       const std::vector<std::string>& tool_arguments) const {
        program_call call;
        call.program = "/bin/sh";
        call.arguments = {"-c",
                          "exec \"$0\" \"$@\" " + redirections,
                          program_folder() + "/vandrel-sim",
                          "--journal",
                          journal_.string(),
                          "--"};
        call.arguments.insert(call.arguments.end(), tool_arguments.begin(), tool_arguments.end());
        return run_program(call);
    }
    std::string journal() const { return read_file(journal_); }

private:
    temporary_folder folder_;
    boost::filesystem::path journal_ = folder_.path() / "journal";
};

TEST(vandrel_sim, a_journal_never_takes_the_number_of_a_standard_stream) {
    for (const std::string redirections : {">&-", "2>&-", "<&- >&-", "<&- >&- 2>&-"}) {
        SCOPED_TRACE(redirections);
        const closed_streams closed;
        const program_result result =
            closed.run(redirections, {"--list-devices", "--detect-timeout", "0", "--debug"});
        EXPECT_EQ(result.status, 0);
        const std::vector<std::string> entries = split_documents(closed.journal(), "");
        EXPECT_THAT(entries, Not(IsEmpty()));
        for (const std::string& entry : entries) {
            EXPECT_NO_THROW(from_xml(entry).at("Call"));
        }
    }
}

TEST(vandrel_sim, a_journal_never_takes_the_number_of_the_output_pipe) {
    for (const std::string number : {"3", "4", "5", "6", "7", "8", "9"}) {
        SCOPED_TRACE(number);
        const closed_streams closed;
        const program_result result =
            closed.run(number + ">&-", {"--list-devices", "--output-pipe", number});
        EXPECT_EQ(result.status, aborted);
        EXPECT_THAT(result.standard_error, HasSubstr("assign: "));
        EXPECT_EQ(closed.journal(), "");
    }
}

TEST(vandrel_sim, a_closed_standard_stream_is_no_output_pipe) {
    const program_result result =
        closed_streams().run(">&-", {"--list-devices", "--output-pipe", "1"});
    EXPECT_EQ(result.status, aborted);
    EXPECT_THAT(result.standard_error, HasSubstr("assign: "));
}

TEST(vandrel_sim, a_folder_is_refused_as_a_folder) {
    program_call call;
    call.program = program_folder() + "/vandrel-sim";
    call.arguments = {"--scenario", "/", "--", "--list-devices"};
    EXPECT_EQ(run_program(call).standard_error,
              "vandrel-sim: /: file: is unreadable (Is a directory); should be a file that can be "
              "read\n");
}

TEST(vandrel_sim, a_folder_for_temporary_files_that_is_none_is_refused_with_its_variable) {
    for (const std::string value : {"", "/dev/null", "/no-such-folder"}) {
        program_call call;
        call.program = program_folder() + "/vandrel-sim";
        call.arguments = {"--", "--list-devices", "--detect-timeout", "0"};
        call.environment = {{"TMPDIR", value}};
        const program_result result = run_program(call);
        EXPECT_EQ(result.status, 64);
        EXPECT_EQ(result.standard_output, "");
        EXPECT_EQ(result.standard_error,
                  "vandrel-sim: TMPDIR: is \"" + value + "\"; should be the path of a folder\n");
    }
}

} // namespace
