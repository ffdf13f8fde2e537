/// What vandrel-sim does itself: it refuses simulations that cannot be played, and says when a run
/// ends before the creation that should fail.

#include "tests/program.h"
#include "tests/silent_pipe.h"
#include "tests/temporary_folder.h"

#include <boost/filesystem/fstream.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using namespace vandrel::testing;
using ::testing::EndsWith;
using ::testing::StartsWith;

program_result run(const std::vector<std::string>& arguments) {
    program_call call;
    call.program = program_folder() + "/" + program_file_name("vandrel-sim");
    call.arguments = arguments;
    program_result result = run_program(call);
    // The tool has not started, so standard error is still the host's text stream.
    std::erase(result.standard_error, '\r');
    return result;
}

/// One line on standard error, nothing elsewhere, and the status of an unusable simulation.
void expect_refusal(const program_result& result, const std::string& start,
                    const std::string& end) {
    EXPECT_EQ(result.status, 64);
    EXPECT_EQ(result.standard_output, "");
    EXPECT_THAT(result.standard_error, StartsWith("vandrel-sim: " + start));
    EXPECT_THAT(result.standard_error, EndsWith(end + "\n"));
    EXPECT_EQ(std::count(result.standard_error.begin(), result.standard_error.end(), '\n'), 1);
}

TEST(vandrel_sim, a_wrong_scenario_is_refused_with_file_and_place) {
    const temporary_folder folder;
    const boost::filesystem::path file = folder.path() / "wrong.plist";
    boost::filesystem::ofstream(file)
        << "<plist><dict><key>Devices</key><array><dict><key>Name</key><string>d</string>"
           "<key>ECID</key><string>12AB</string></dict></array></dict></plist>";
    expect_refusal(run({"--scenario", file.string(), "--", "--list-devices"}),
                   file.string() + ": Devices[0].ECID: is \"12AB\"",
                   "; should be a string of 16 hexadecimal digits");
}

TEST(vandrel_sim, a_scenario_that_is_not_there_is_refused) {
    expect_refusal(run({"--scenario", "no-such-scenario.plist", "--", "--list-devices"}),
                   "no-such-scenario.plist: file: is unreadable (",
                   "); should be a file that can be read");
}

TEST(vandrel_sim, a_journal_that_cannot_be_written_is_refused) {
    expect_refusal(run({"--journal", "no-such-folder/journal.plist", "--", "--list-devices"}),
                   "no-such-folder/journal.plist: cannot write the journal (", ")");
}

TEST(vandrel_sim, a_scenario_that_is_a_pipe_or_a_device_is_refused) {
    const silent_pipe pipe;
    std::vector<std::string> names = device_names();
    names.push_back(pipe.name());
    for (const std::string& name : names) {
        expect_refusal(run({"--scenario", name, "--", "--list-devices"}),
                       name + ": file: is unreadable (it is a device or a pipe)",
                       "; should be a file that can be read");
    }
}

TEST(vandrel_sim, a_journal_that_is_a_pipe_or_a_device_is_refused) {
    const silent_pipe pipe;
    std::vector<std::string> names = device_names();
    names.push_back(pipe.name());
    for (const std::string& name : names) {
        expect_refusal(run({"--journal", name, "--", "--list-devices"}),
                       name + ": cannot write the journal (", ")");
    }
}

TEST(vandrel_sim, a_folder_is_neither_a_scenario_nor_a_journal) {
    const temporary_folder folder;
    const std::string name = folder.path().string();
    expect_refusal(run({"--scenario", name, "--", "--list-devices"}),
                   name + ": file: is unreadable (", "); should be a file that can be read");
    expect_refusal(run({"--journal", name, "--", "--list-devices"}),
                   name + ": cannot write the journal (", ")");
}

TEST(vandrel_sim, a_wrong_option_of_the_simulator_is_refused) {
    expect_refusal(run({"--speed", "0", "--", "--list-devices"}), "--speed: is \"0\"",
                   "; should be a number above 0, such as 10 or 0.5");
}

TEST(vandrel_sim, a_refusal_is_one_line_whatever_is_refused) {
    expect_refusal(run({"--speed", "1\n2", "--", "--list-devices"}), "--speed: is \"1?2\"",
                   "; should be a number above 0, such as 10 or 0.5");
    expect_refusal(run({"--scenario", "no-such\nscenario", "--", "--list-devices"}),
                   "no-such?scenario: file: is unreadable (",
                   "); should be a file that can be read");
}

TEST(vandrel_sim, options_of_the_tool_before_the_double_dash_are_refused) {
    expect_refusal(
        run({"--list-devices", "--"}), "--list-devices: unknown option",
        "; expected --scenario, --journal, --bench, --speed or --fail-creation, or place it after "
        "--");
}

TEST(vandrel_sim, a_creation_that_the_run_did_not_reach_is_reported) {
    const program_result result = run({"--fail-creation", "1000000", "--", "--help"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(
        result.standard_error,
        EndsWith("vandrel-sim: --fail-creation: the run created 1000000 objects too few\n"));
}

} // namespace
