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
    /// Without the program's name. "{pipe}" is replaced with the number of the inherited pipe.
    std::vector<std::string> arguments;
    /// Added to the test's own environment; replaces variables of the same name.
    std::map<std::string, std::string> environment;
    /// Whether the program inherits a pipe for its records: a file descriptor, or on Windows the
    /// handle of a named pipe opened for overlapped writing.
    bool inherits_pipe = false;
    /// Other descriptors or handles of the test that the program inherits under the same numbers.
    std::vector<std::intptr_t> inherited;
    /// A program that takes longer is taken to hang, and is killed. This is less than CTest's
    /// timeout.
    std::chrono::seconds limit = std::chrono::seconds(60);
};

/// The result of a program.
struct program_result {
    /// The exit status; on POSIX, minus the signal's number if a signal ended the program.
    int status = -1;
    /// All output, byte for byte.
    std::string standard_output;
    std::string standard_error;
    std::string pipe;
};

/// A program that was started, with an empty standard input. Standard output and standard
/// error are read while a function of this class waits; on Windows, all the time. read_pipe and
/// wait read the pipe. On POSIX, wait_for_error_text reads it, too, and read_pipe does not give
/// those bytes. To be used by one thread at a time.
class running_program {
public:
    /// Throws std::system_error if the program cannot be started.
    explicit running_program(const program_call& call);
    /// Kills the program if it is still running.
    ~running_program();
    running_program(running_program&&) noexcept;

    /// Waits for bytes in the pipe and returns at most `most`; none at its end.
    std::string read_pipe(std::size_t most);
    /// Waits until the program has written `text` to standard error. Throws std::runtime_error if
    /// standard error ends before.
    void wait_for_error_text(const std::string& text);
    /// Closes the read end of the pipe. The bytes that are still in it are lost.
    void close_pipe();
    /// Reads all streams, and the pipe if it is open, until the program has ended. The result has
    /// all bytes that were ever read.
    program_result wait();

    // A program that exceeds its limit while one of the functions waits for its output is killed,
    // and the function throws a std::runtime_error with its output.

private:
    struct system_process;
    std::unique_ptr<system_process> process_;
};

/// Runs a program to its end.
program_result run_program(const program_call& call);

/// The folder of the running test program, which has all other programs of the build too.
std::string program_folder();

/// "name", or "name.exe".
std::string program_file_name(const std::string& name);

/// "libname.so", or "name.dll".
std::string library_file_name(const std::string& name);

/// Names of devices that are always there.
std::vector<std::string> device_names();

/// The environment variables that set the folder for temporary files.
std::vector<std::string> temporary_folder_variables();

} // namespace vandrel::testing
