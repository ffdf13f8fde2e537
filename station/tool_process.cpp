#include "station/tool_process.h"

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <utility>

namespace vandrel::station {

namespace {

constexpr std::size_t more_than_a_pipe_holds = std::size_t{1024} * 1024;

} // namespace

tool_process::tool_process(boost::asio::io_context& context, tool_handlers handlers)
    : context_(context), handlers_(std::move(handlers)), buffer_(64 * std::size_t{1024}) {}

std::shared_ptr<tool_process> tool_process::start(boost::asio::io_context& context,
                                                  const tool_command& tool,
                                                  const std::vector<std::string>& arguments,
                                                  const std::filesystem::path& folder,
                                                  tool_handlers handlers) {
    process_start how{tool.program, tool.arguments, folder, folder / diagnostics_name};
    how.arguments.insert(how.arguments.end(), arguments.begin(), arguments.end());
    how.arguments.insert(how.arguments.end(), {"--output-pipe", "{pipe}"});
    std::shared_ptr<tool_process> made(new tool_process(context, std::move(handlers)));
    made->process_ = start_process(context, how);
    made->command_line_ = tool.program;
    for (const std::string& each : how.arguments) {
        made->command_line_ += " " + (each.find(' ') == each.npos ? each : '"' + each + '"');
    }
    made->read();
    // This handler holds the object, so that it lives until the process has ended.
    made->process_->async_wait([made](int status) {
        made->exit_status_ = status;
        made->pass_on_end();
    });
    return made;
}

void tool_process::release() {
    released_ = true;
    process_->close_stream();
}

void tool_process::read() {
    if (!exit_status_ && handlers_.is_behind && handlers_.is_behind()) {
        read_later();
        return;
    }
    ++reads_;
    process_->async_read(buffer_, [self = shared_from_this()](std::size_t count) {
        if (!self->released_) {
            self->took(count);
        }
    });
}

void tool_process::read_later() {
    const auto timer = std::make_shared<boost::asio::steady_timer>(context_);
    timer->expires_after(std::chrono::milliseconds(5));
    timer->async_wait([self = shared_from_this(), timer](const boost::system::error_code&) {
        if (!self->released_) {
            self->read();
        }
    });
}

void tool_process::took(std::size_t count) {
    if (count == 0) {
        stream_over_ = true;
        reader_.finish(handlers_.arrived);
        handlers_.stream_ended();
    } else {
        read_since_end_ += exit_status_ ? count : 0;
        const std::string_view bytes(buffer_.data(), count);
        if (handlers_.bytes) {
            handlers_.bytes(bytes);
        }
        reader_.take(bytes, handlers_.arrived);
        read();
    }
    if (exit_status_) {
        pass_on_end();
    }
}

/// What the process has written can still lie in the pipe when the process ends. A slow reader must
/// not take that for records that never came.
void tool_process::pass_on_end() {
    // A read that is complete is handled before what is posted here. One that has begun since may
    // hold what is no longer in the pipe.
    boost::asio::post(context_, [self = shared_from_this(), reads = reads_] {
        if (self->reads_ != reads) {
            self->pass_on_end();
            return;
        }
        // A child of the tool can write for ever. The tool's own bytes are in the first MiB that
        // is read after the tool's end.
        const bool has_more = !self->stream_over_ &&
                              self->read_since_end_ < more_than_a_pipe_holds &&
                              self->process_->bytes_in_pipe() > 0;
        if (self->exit_status_ && !self->released_ && !has_more) {
            self->handlers_.process_ended(*std::exchange(self->exit_status_, std::nullopt));
        }
    });
}

} // namespace vandrel::station
