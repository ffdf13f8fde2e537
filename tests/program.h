#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
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
    /// Descriptors or handles of the test's own that the program inherits as well, each under the
    /// number that it has here.
    std::vector<std::intptr_t> inherited;
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

/// A program that was started, with nothing on its standard input. What it writes to its two
/// streams is read while it runs; what it writes to the pipe is the test's to read. One thread at a
/// time.
class running_program {
public:
    /// Throws std::system_error when the program cannot be started.
    explicit running_program(const program_call& call);
    /// Kills a program that still runs.
    ~running_program();
    running_program(running_program&&) noexcept;

    /// Waits for bytes in the pipe and takes at most so many; none at its end.
    std::string read_pipe(std::size_t most);
    /// Leaves the pipe without a reader, whatever may still be in it.
    void close_pipe();
    /// Reads all streams, and the pipe if it is open, and waits until the program has ended. The
    /// result holds everything that was ever read.
    program_result wait();

    // A program that does not end within its limit is killed, and these functions throw a
    // std::runtime_error that shows what it had written.

private:
    struct system_process;
    std::unique_ptr<system_process> process_;
};

/// Runs a program to its end.
program_result run_program(const program_call& call);

/// The folder in which the running test program, and with it every other program, lies.
std::string program_folder();

/// "name", or "name.exe".
std::string program_file_name(const std::string& name);

/// "libname.so", or "name.dll".
std::string library_file_name(const std::string& name);

/// The environment variables that tell a program where temporary files go.
std::vector<std::string> temporary_folder_variables();

} // namespace vandrel::testing
