#include "output/output_str_state.h"

#include <cstdio>
#include <utility>

namespace vandrel {

namespace {

void write_all(std::FILE* stream, const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stream);
}

} // namespace

output_str_state::output_str_state(std::optional<native_pipe> pipe) : pipe_(std::move(pipe)) {}

void output_str_state::set_debug(bool debug) {
    const std::lock_guard lock(mutex_);
    debug_ = debug;
}

void output_str_state::push_debug(std::string text) {
    push(std::move(text), true);
}

void output_str_state::push_output(std::string text) {
    push(std::move(text), false);
}

void output_str_state::push(std::string text, bool is_debug) {
    {
        const std::lock_guard lock(mutex_);
        queue_.push_back({std::move(text), is_debug});
    }
    wake_.notify_one();
}

void output_str_state::shutdown() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_one();
}

void output_str_state::writer_loop() {
    // Held while writing: producers wait for a batch to be out, which keeps the queue short.
    std::unique_lock lock(mutex_);
    do {
        wake_.wait(lock, [this] { return stopping_ || !queue_.empty(); });
        write_queue();
        std::fflush(stdout);
        std::fflush(stderr);
        queue_.clear();
    } while (!stopping_);
}

void output_str_state::write_queue() {
    // The error stream has no buffer: what stands between two records goes there in one piece.
    std::string diagnostics;
    for (const output_entry& entry : queue_) {
        if (entry.is_debug) {
            if (debug_) {
                diagnostics.append(entry.text) += '\n';
            }
        } else {
            write_all(stderr, diagnostics);
            diagnostics.clear();
            write_record(entry.text);
        }
    }
    write_all(stderr, diagnostics);
}

void output_str_state::write_record(const std::string& text) {
    if (pipe_) {
        pipe_->write(text);
    } else {
        write_all(stdout, text);
        std::fputc('\n', stdout);
    }
}

std::shared_ptr<output_str_state> make_output_state(boost::asio::io_context& context,
                                                    const start_options& options) {
    std::optional<native_pipe> pipe;
    if (options.output_pipe) {
        pipe.emplace(context, *options.output_pipe);
    }
    return std::make_shared<output_str_state>(std::move(pipe));
}

} // namespace vandrel
