#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace vandrel::testing {

/// How to run a program. All text is UTF-8.
struct program_call {
    std::string program;
    /// Without the program's own name. "{pipe}" stands for the number of the inherited pipe.
    std::vector<std::string> arguments;
    /// Added to the test's own environment, or put in place of what it has.
    std::map<std::string, std::string> environment;
    /// Whether the program inherits a pipe for its records: a file descriptor, or on Windows the
    /// handle of a named pipe opened for overlapped writing.
    bool inherits_pipe = false;
    /// For programs that hang, not for slow ones; less than what CTest allows a test.
    std::chrono::seconds limit = std::chrono::seconds(60);
};

/// What came of it.
struct program_result {
    /// The exit status; on a POSIX host minus the signal's number when a signal ended it.
    int status = -1;
    /// Everything that was written, byte for byte.
    std::string standard_output;
    std::string standard_error;
    std::string pipe;
};

/// Runs a program to its end, with nothing on its standard input. One that does not end within the
/// limit is killed, and a std::runtime_error that shows what it had written is thrown.
program_result run_program(const program_call& call);

/// The folder in which the running test program, and with it every other program, lies.
std::string program_folder();

/// "name", or "name.exe".
std::string program_file_name(const std::string& name);

/// The environment variables that tell a program where temporary files go.
std::vector<std::string> temporary_folder_variables();

} // namespace vandrel::testing
