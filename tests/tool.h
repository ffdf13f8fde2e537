#pragma once

#include "tests/plist_value.h"
#include "tests/program.h"
#include "tests/temporary_folder.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vandrel::testing {

/// The result of a run of the tool with simulated devices.
struct tool_run {
    /// The exit status.
    int status = -1;
    /// The records, from the pipe or from standard output, as they were written and as values.
    std::vector<std::string> documents;
    std::vector<plist_value> records;
    /// The three streams, byte for byte.
    std::string standard_output;
    std::string standard_error;
    std::string pipe;
    /// The lines of standard error.
    std::vector<std::string> diagnostics;
    /// Every call of MobileDevice: dictionaries with Call, Arguments, Time and, if the call is of a
    /// device, Device.
    std::vector<plist_value> journal;
    /// The path of the tool's folder for temporary files. The folder is removed with the
    /// running_tool, and so is gone when run() returns.
    std::string temporary_folder;

    /// How often the MobileDevice function of that name was called.
    int calls(const std::string& function) const;
};

class running_tool;

/// Runs vandrel-sim with a scenario and collects everything that it writes:
///
///     const std::string ecid = "00000000000000AB";
///     const tool_run run = tool_call({"--exit-recovery", "--ecid", ecid})
///                              .scenario({{"Devices", array{recovery_device(ecid)}}})
///                              .run();
///     EXPECT_EQ(run.calls("AMRecoveryModeDeviceReboot"), 1);
///
/// Each run has a new folder for temporary files. Three environment variables change runs:
///
///     VANDREL_KEEP_RUNS=FOLDER         keeps scenario, journal and output in FOLDER/SUITE.TEST.N,
///                                      with the shell script `command`, which repeats the run,
///                                      without `--output-pipe`
///     VANDREL_TESTED_PROGRAM=vandrel   runs the product, which must find the simulator under the
///                                      names of Apple's libraries
///     VANDREL_FAIL_CREATIONS=1         repeats each `run`, unless `fail_creation` was called: once
///                                      for each CoreFoundation object that the run creates, whose
///                                      creation then fails. The tool must end by itself with one
///                                      of its exit statuses, and leave nothing behind
class tool_call {
public:
    explicit tool_call(std::vector<std::string> arguments);

    /// The default is the built-in scenario.
    tool_call& scenario(const dictionary& scenario);
    /// Divides all times of the scenario by `factor`; 1 by default.
    tool_call& speed(int factor);
    /// Shares the devices with all other runs with this folder.
    tool_call& bench(const std::string& folder);
    /// Fails the n-th creation of a CoreFoundation object.
    tool_call& fail_creation(int n);
    /// Adds `--output-pipe` with an inherited pipe.
    tool_call& with_pipe();
    /// The tool inherits this descriptor or handle of the test, under the same number.
    tool_call& inheriting(std::intptr_t number);

    /// Returns when the tool has ended. Fails the test if the tool leaves any temporary file.
    tool_run run() const;
    /// Returns while the tool runs.
    running_tool start() const;

private:
    tool_call bounded() const;
    void fail_every_creation() const;

    std::vector<std::string> arguments_;
    std::optional<dictionary> scenario_;
    std::optional<std::string> bench_;
    int speed_ = 1;
    int failing_creation_ = 0;
    bool with_pipe_ = false;
    std::vector<std::intptr_t> inherited_;
};

/// A tool that may still be running. The test reads its pipe.
class running_tool {
public:
    /// `folder` belongs to this run and has the files that `call` names.
    running_tool(std::unique_ptr<temporary_folder> folder, const program_call& call);

    /// See running_program.
    std::string read_pipe(std::size_t most) { return program_.read_pipe(most); }
    void close_pipe();
    /// Waits until the tool has written `text` to standard error.
    void wait_for_error_text(const std::string& text) { program_.wait_for_error_text(text); }

    /// Waits until the tool has ended. Throws if the stream of the records, that is, the pipe or
    /// standard output, has anything but whole records. If the test
    /// closed the pipe, the result has no records.
    tool_run wait();

    /// The names in the tool's folder for temporary files.
    std::vector<std::string> temporary_files() const;

private:
    std::unique_ptr<temporary_folder> folder_;
    bool has_pipe_;
    running_program program_;
};

/// The name of the program that tool_call runs.
std::string tested_program();

/// A device's entry in a scenario: in Recovery mode, unless `more` has another state.
dictionary recovery_device(const std::string& ecid, const dictionary& more = {});

/// The record of one of the tool's own errors.
plist_value tool_error_record(int code, const std::string& description,
                              const std::string& failure_reason);

} // namespace vandrel::testing
