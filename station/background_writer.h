#pragma once

/// A thread that does what may take long, so that the event loop never waits.

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace vandrel::station {

/// Does tasks in their order. A std::exception of a task is dropped. A task that never ends keeps
/// later ones from being done, but blocks no caller. Any thread may call.
class background_writer {
public:
    /// Tasks are refused while those that are not done yet take more bytes than this. Each takes
    /// the bytes that `post` is given, and 256 more.
    explicit background_writer(std::size_t most_bytes);
    /// Tasks that have not begun are not done. It waits for no task.
    ~background_writer();
    background_writer(const background_writer&) = delete;
    background_writer& operator=(const background_writer&) = delete;

    /// False when the queue is full: the task is lost. `bytes` is what it holds.
    bool post(std::size_t bytes, std::function<void()> task);

    /// Whether the queue is more than half full, so that producers should pause. That is
    /// true for one second at most, because a slow disk must not slow others down. After that
    /// second it is false until the queue has been empty.
    bool is_behind() const;

    /// Waits until everything is done, but no longer than this. Returns whether it is.
    bool drain(std::chrono::milliseconds limit);

private:
    struct shared_state;
    std::shared_ptr<shared_state> state_;
};

} // namespace vandrel::station
