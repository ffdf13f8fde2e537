#include "output/output_str_state.h"

#include <cstdio>
#include <thread>
#include <utility>

namespace vandrel {

namespace {

/// A batch is mostly out before a thread that sleeps for it could be woken; so often is the lock
/// tried before sleeping.
constexpr int most_tries = 50;

/// Diagnostics that are going to be dropped wake the writer only when there are so many.
constexpr std::size_t most_unheard = 64;

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
    bool wake = false;
    {
        const auto lock = lock_for_push();
        queue_.push_back({std::move(text), is_debug});
        wake = !is_debug || debug_ || queue_.size() >= most_unheard;
    }
    if (wake) {
        wake_.notify_one();
    }
}

std::unique_lock<std::mutex> output_str_state::lock_for_push() {
    std::unique_lock lock(mutex_, std::try_to_lock);
    for (int tries = 1; !lock && tries < most_tries; ++tries) {
        std::this_thread::yield();
        static_cast<void>(lock.try_lock());
    }
    if (!lock) {
        lock.lock();
    }
    return lock;
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
    // Neighbours of one kind go out in one piece: a call for each, and the reader's waking up for
    // each, would take longer than making them.
    std::string piece;
    bool is_debug = false;
    for (const output_entry& entry : queue_) {
        if (entry.is_debug && !debug_) {
            continue;
        }
        if (entry.is_debug != is_debug) {
            write_piece(piece, is_debug);
            piece.clear();
            is_debug = entry.is_debug;
        }
        piece += entry.text;
        if (is_debug || !pipe_) {
            piece += '\n';
        }
    }
    write_piece(piece, is_debug);
}

void output_str_state::write_piece(const std::string& piece, bool is_debug) {
    if (pipe_ && !is_debug) {
        pipe_->write(piece);
    } else {
        std::fwrite(piece.data(), 1, piece.size(), is_debug ? stderr : stdout);
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
