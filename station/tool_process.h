#pragma once

/// One run of the tool: its process, and the records that it writes.

#include "station/native_process.h"
#include "station/record_reader.h"

#include <boost/asio/io_context.hpp>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vandrel::station {

/// What stands for `vandrel`: a program, and what its command line begins with.
struct tool_command {
    std::string program;
    std::vector<std::string> arguments;
};

/// Called in the loop's thread, and not any more after `release`.
struct tool_handlers {
    /// The stream as it comes. This handler may be empty.
    std::function<void(std::string_view)> bytes;
    std::function<void(const record&)> arrived;
    std::function<void()> stream_ended;
    /// Called after all that the process has written has been read. If another process goes on
    /// writing into the pipe, this is called after about one more MiB.
    std::function<void(int exit_status)> process_ended;
    /// Whether reading should wait a little. Not asked from the end of the process until
    /// `process_ended` is called, which waits for what the process has written. This handler may be
    /// empty.
    std::function<bool()> is_behind;
};

/// Lives at least as long as its process.
class tool_process : public std::enable_shared_from_this<tool_process> {
public:
    /// Starts the tool with `arguments` and a pipe for its records. `folder` is its temporary
    /// folder and holds its diagnostics. Throws std::system_error.
    static std::shared_ptr<tool_process> start(boost::asio::io_context& context,
                                               const tool_command& tool,
                                               const std::vector<std::string>& arguments,
                                               const std::filesystem::path& folder,
                                               tool_handlers handlers);

    void terminate() { process_->terminate(); }
    /// Nothing is wanted from it any more: closes its pipe, and leaves the process alone.
    void release();

    /// The number of the process.
    long number() const { return process_->number(); }
    /// The whole command line, for people. "{pipe}" stands for the number of the pipe.
    const std::string& command_line() const { return command_line_; }

    static constexpr const char* diagnostics_name = "diagnostics.txt";

private:
    tool_process(boost::asio::io_context& context, tool_handlers handlers);
    void read();
    void took(std::size_t count);
    void read_later();
    void pass_on_end();

    boost::asio::io_context& context_;
    tool_handlers handlers_;
    std::unique_ptr<native_process> process_;
    std::vector<char> buffer_;
    record_reader reader_;
    std::string command_line_;
    /// Of a process that has ended; absent again once its end has been passed on.
    std::optional<int> exit_status_;
    std::size_t read_since_end_ = 0;
    /// How many reads have begun.
    std::size_t reads_ = 0;
    bool stream_over_ = false;
    bool released_ = false;
};

} // namespace vandrel::station
