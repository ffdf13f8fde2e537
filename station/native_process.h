#pragma once

#include <boost/asio/io_context.hpp>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vandrel::station {

/// How to start a tool. Texts are UTF-8.
struct process_start {
    /// A file, not looked for on PATH.
    std::string program;
    /// Without the program's own name. "{pipe}" stands for the number of the inherited pipe.
    std::vector<std::string> arguments;
    /// What TEMP, TMP and TMPDIR name for the tool.
    std::filesystem::path temporary_folder;
    /// The tool's standard output and standard error are appended to this file.
    std::filesystem::path diagnostics;
};

/// A tool and the reading end of its pipe. The tool has no window, shares no console or terminal
/// with this process, and inherits no descriptor or handle but the pipe and its standard streams.
/// The system ends it when this process ends, in whatever way; the destructor ends it, too. To be
/// used by one thread, that of the I/O context; handlers are called there.
class native_process {
public:
    /// Called with how many bytes came; 0 at the end of the stream, or after an error.
    using read_handler = std::function<void(std::size_t)>;
    /// Called with the exit status; minus the signal's number when a signal ended the process.
    using exit_handler = std::function<void(int)>;

    native_process() = default;
    native_process(const native_process&) = delete;
    native_process& operator=(const native_process&) = delete;
    virtual ~native_process() = default;

    virtual void async_read(std::span<char> buffer, read_handler handler) = 0;
    virtual void async_wait(exit_handler handler) = 0;
    /// Ends the process at once, and does not wait until it is gone.
    virtual void terminate() = 0;
    /// How many bytes lie in the pipe that no read has taken; 0 when that cannot be known.
    virtual std::size_t bytes_in_pipe() = 0;
    /// Ends a pending read as the end of the stream does.
    virtual void close_stream() = 0;
    virtual long number() const = 0;
};

/// Throws std::system_error when the tool cannot be started.
std::unique_ptr<native_process> start_process(boost::asio::io_context& context,
                                              const process_start& start);

} // namespace vandrel::station
