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

/// What a run of the tool over simulated devices came to.
struct tool_run {
    /// The process result.
    int status = -1;
    /// The records, wherever they went, as they were written and as values.
    std::vector<std::string> documents;
    std::vector<plist_value> records;
    /// Byte for byte.
    std::string standard_output;
    std::string standard_error;
    std::string pipe;
    /// The lines of the error stream.
    std::vector<std::string> diagnostics;
    /// Every call of the platform: dictionaries with Call, Device, Arguments and Time.
    std::vector<plist_value> journal;
    /// The folder that the tool had for temporary files. What it left there was removed.
    std::string temporary_folder;

    /// How often the platform's function of that name was called.
    int calls(const std::string& function) const;
};

class running_tool;

/// A run of vandrel-sim: `tool_call({"--list-devices"}).run()`. The tool gets a folder of its own
/// for temporary files.
///
/// With VANDREL_FAIL_CREATIONS in the environment, run goes on with the same run once for each
/// object of CoreFoundation that it makes, which then cannot be made: the tool has to end by itself
/// with one of its results, and to leave nothing behind.
///
/// With VANDREL_TESTED_PROGRAM=vandrel in the environment it is a run of the product, which needs
/// to find the simulator under the names of Apple's libraries.
///
/// With VANDREL_KEEP_RUNS=FOLDER in the environment, what the run got and wrote is kept in
/// FOLDER/SUITE.TEST.N, with the shell script `command`, which repeats it.
class tool_call {
public:
    explicit tool_call(std::vector<std::string> arguments);

    /// The built-in scenario plays otherwise.
    tool_call& scenario(const dictionary& scenario);
    /// All times of the scenario pass that many times as fast.
    tool_call& speed(int factor);
    /// The n-th CoreFoundation object that the run is about to create is not created.
    tool_call& fail_creation(int n);
    /// Records go to an inherited pipe: adds `--output-pipe`.
    tool_call& with_pipe();
    /// The tool inherits this descriptor or handle of the test's under the same number.
    tool_call& inheriting(std::intptr_t number);

    /// Fails the test when the tool leaves anything among the temporary files.
    tool_run run() const;
    running_tool start() const;

private:
    tool_call bounded() const;
    void fail_every_creation() const;

    std::vector<std::string> arguments_;
    std::optional<dictionary> scenario_;
    int speed_ = 1;
    int failing_creation_ = 0;
    bool with_pipe_ = false;
    std::vector<std::intptr_t> inherited_;
};

/// A tool that may still run. Its pipe is the test's to read.
class running_tool {
public:
    /// `folder` is for the run alone, and has what `call` names of it.
    running_tool(std::unique_ptr<temporary_folder> folder, const program_call& call);

    /// As running_program has them.
    std::string read_pipe(std::size_t most) { return program_.read_pipe(most); }
    void close_pipe();

    /// Waits until the tool has ended. Throws when anything but whole records came; of a pipe that
    /// the test closed, no records are given.
    tool_run wait();

    /// What the tool has among the temporary files.
    std::vector<std::string> temporary_files() const;

private:
    std::unique_ptr<temporary_folder> folder_;
    bool has_pipe_;
    running_program program_;
};

/// The name of the program that tool_call runs.
std::string tested_program();

/// A device's entry in a scenario, in Recovery mode unless told otherwise.
dictionary recovery_device(const std::string& ecid, const dictionary& more = {});

/// The record of an error of the tool itself.
plist_value tool_error_record(int code, const std::string& description,
                              const std::string& failure_reason);

} // namespace vandrel::testing
