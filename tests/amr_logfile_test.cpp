/// `--amr-logfile`: the command line in a new file, then what the restore library logs.

#include "tests/file_content.h"
#include "tests/silent_pipe.h"
#include "tests/temporary_folder.h"
#include "tests/tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace vandrel::testing;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

const dictionary no_devices{{"Devices", array{}}};

/// The restore library refuses the log file.
dictionary refusing(int error) {
    return {{"Devices", array{}}, {"EnableFileLoggingResult", error}};
}

class amr_logfile : public ::testing::Test {
protected:
    tool_run list(const dictionary& scenario, const std::vector<std::string>& more = {}) const {
        std::vector<std::string> arguments{"--list-devices", "--detect-timeout", "0"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return tool_call(arguments).scenario(scenario).run();
    }

    temporary_folder folder;
    const boost::filesystem::path path = folder.path() / "restore.log";
    const std::string log = path.string();
};

// --- the command line

TEST_F(amr_logfile, a_new_file_begins_with_the_whole_command_line_and_goes_on_with_the_library) {
    list(no_devices, {"--amr-logfile", log, "--debug"});
    const std::string content = read_file(path);
    const std::string arguments =
        " --list-devices --detect-timeout 0 --amr-logfile " + log + " --debug\n";
    // The program's name is as the system gave it.
    EXPECT_THAT(content.substr(0, content.find(' ')), HasSubstr(tested_program()));
    EXPECT_EQ(content.substr(content.find(' ')), arguments + "Simulated restore log\n");
}

TEST_F(amr_logfile, a_new_file_holds_exactly_one_line_when_the_library_writes_none) {
    list(refusing(12), {"--amr-logfile", log});
    EXPECT_THAT(read_file(path), EndsWith(" --amr-logfile " + log + "\n"));
    EXPECT_EQ(read_file(path).find('\n'), read_file(path).size() - 1);
}

TEST_F(amr_logfile, a_file_that_exists_gets_no_command_line) {
    write_file(path, "an earlier run\n");
    list(no_devices, {"--amr-logfile", log});
    EXPECT_EQ(read_file(path), "an earlier run\nSimulated restore log\n");
}

TEST_F(amr_logfile, a_file_that_exists_stays_as_it_is_when_the_library_writes_nothing) {
    write_file(path, "an earlier run\n");
    list(refusing(12), {"--amr-logfile", log});
    EXPECT_EQ(read_file(path), "an earlier run\n");
}

TEST_F(amr_logfile, a_file_that_cannot_be_made_is_no_error) {
    const tool_run run =
        list(refusing(12), {"--amr-logfile", (folder.path() / "missing" / "log").string()});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.standard_error, "");
    EXPECT_EQ(run.records.size(), 1U);
}

TEST_F(amr_logfile, the_command_line_is_logged_before_its_options_are_checked) {
    const tool_run run = tool_call({"--erase", "--amr-logfile", log}).run();
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(read_file(path), HasSubstr(" --erase --amr-logfile " + log + "\n"));
}

TEST_F(amr_logfile, a_command_line_that_cannot_be_parsed_is_not_logged) {
    // The library returns values only if it can parse the whole line.
    EXPECT_EQ(tool_call({"--amr-logfile", log, "--detect-timeout", "abc"}).run().status, 2);
    EXPECT_FALSE(boost::filesystem::exists(path));
}

TEST_F(amr_logfile, its_name_and_the_command_line_may_be_of_any_script) {
    const auto file = folder.path() / "Журнал 日志 \xF0\x9F\x93\xB1.log";
    list(no_devices, {"--amr-logfile", file.string()});
    EXPECT_THAT(read_file(file),
                EndsWith(" --amr-logfile " + file.string() + "\nSimulated restore log\n"));
}

TEST_F(amr_logfile, its_path_may_have_more_than_260_characters) {
    const auto file = folder.make_deep_folder() / "restore.log";
    list(no_devices, {"--amr-logfile", file.string()});
    EXPECT_THAT(read_file(file),
                EndsWith(" --amr-logfile " + file.string() + "\nSimulated restore log\n"));
}

TEST_F(amr_logfile, help_writes_it_as_well) {
    EXPECT_EQ(tool_call({"--help", "--amr-logfile", log}).run().status, 0);
    EXPECT_THAT(read_file(path), EndsWith(" --help --amr-logfile " + log + "\n"));
}

// --- the restore library

TEST_F(amr_logfile, without_a_log_file_file_logging_is_not_enabled) {
    EXPECT_EQ(list(no_devices).calls("AMRestoreEnableFileLogging"), 0);
}

TEST_F(amr_logfile, the_log_file_is_handed_to_the_restore_library) {
    const tool_run run = list(no_devices, {"--amr-logfile", log, "--debug"});
    EXPECT_EQ(run.calls("AMRestoreEnableFileLogging"), 1);
    EXPECT_EQ(run.journal.at(2).at("Arguments"), plist_value(dictionary{{"Path", log}}));
    EXPECT_THAT(run.diagnostics, Contains(EndsWith(": AMRestoreEnableFileLogging(" + log + ")")));
    EXPECT_THAT(run.standard_error, Not(HasSubstr("failed")));
}

TEST_F(amr_logfile, a_log_file_that_is_refused_is_only_logged) {
    const tool_run run = list(refusing(12), {"--amr-logfile", log, "--debug"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, ElementsAre(dictionary{{"Type", "DeviceList"}, {"Value", array{}}}));
    EXPECT_THAT(run.diagnostics,
                Contains(EndsWith(": AMRestoreEnableFileLogging failed (12: Unable to open "
                                  "file)")));
}

TEST_F(amr_logfile, a_pipe_or_a_device_is_refused_without_waiting) {
    const silent_pipe pipe;
    std::vector<std::string> names = device_names();
    names.push_back(pipe.name());
    for (const std::string& name : names) {
        const tool_run run = list(no_devices, {"--amr-logfile", name, "--debug"});
        EXPECT_EQ(run.status, 0);
        EXPECT_THAT(run.diagnostics,
                    Contains(EndsWith(": AMRestoreEnableFileLogging failed (12: Unable to open "
                                      "file)")));
    }
}

TEST_F(amr_logfile, a_log_file_refused_with_an_unknown_error_says_so) {
    const tool_run run = list(refusing(-5), {"--amr-logfile", log, "--debug"});
    EXPECT_THAT(run.diagnostics,
                Contains(EndsWith(": AMRestoreEnableFileLogging failed (-5: Unknown)")));
}

} // namespace
