#pragma once

#include "driver/start_options.h"
#include "platform/core_foundation.h"
#include "platform/native_pipe.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace boost::asio {
class io_context;
}

namespace vandrel {

/// One queued text: a record's whole document, or one diagnostic message.
struct output_entry {
    std::string text;
    bool is_debug;
};

/// The only path of the core to standard output, standard error and the inherited pipe. Any thread
/// queues records and diagnostics. A single writer thread, which runs writer_loop, writes them one
/// by one, in the order in which they were queued, so no two of them ever mix. Records go to the
/// pipe, with nothing between them, or without a pipe to standard output, each followed by a line
/// feed. Diagnostics go to standard error, each followed by a line feed, and only while debugging
/// is on. A record is one write on the pipe, or several of at most 65,536 bytes.
///
/// Typical use: make_output_state, start a thread on writer_loop, push, shutdown, join the thread;
/// everything pushed before the shutdown has then been written and flushed.
class output_str_state {
public:
    explicit output_str_state(std::optional<native_pipe> pipe);

    /// Whether the writer writes diagnostics or drops them. Applies to all diagnostics not yet
    /// written, including those queued. Off at first.
    void set_debug(bool debug);

    /// Queues a diagnostic. This function and all others but writer_loop wait while the writer is
    /// writing.
    void push_debug(std::string text);

    /// Queues a record's document.
    void push_output(std::string text);

    /// Ends the writer after it has written the queue. Cannot be undone.
    void shutdown();

    /// The body of the writer thread: returns after shutdown. Throws boost::system::system_error
    /// with the operation "write" when the pipe cannot be written to, for example because its
    /// reader is gone. In the tool, this ends the process.
    void writer_loop();

    /// Queues the record {"Type": type, "Value": value}. A type that is null or empty, a value that
    /// is null or has no XML form, or a record that cannot be made gives a diagnostic and no
    /// record.
    void print_value(CFStringRef type, CFTypeRef value);
    void print_value(const std::string& type, CFTypeRef value);

    /// Queues the "InternalError" record of an error. Null, or a record that cannot be made, gives
    /// a diagnostic and no record.
    void print_formatted_error(CFErrorRef error);

private:
    void push(std::string text, bool is_debug);
    void write(const output_entry& entry);

    std::optional<native_pipe> pipe_;
    std::condition_variable wake_;
    std::mutex mutex_;
    // Guarded by the mutex:
    std::vector<output_entry> queue_;
    bool debug_ = false;
    bool stopping_ = false;
    /// Buffer of the writer, reused to avoid allocations.
    std::string line_;
};

/// A new channel, which owns the pipe that `options` names, if any. Throws
/// boost::system::system_error with the operation "assign" when that pipe cannot be taken over.
/// `context` outlives the channel.
std::shared_ptr<output_str_state> make_output_state(boost::asio::io_context& context,
                                                    const start_options& options);

} // namespace vandrel
