#pragma once

/// A thread that does what may take long, so that the event loop never waits.

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace vandrel::station {

/// Does tasks in their order. A task that never ends, or that throws, harms nobody: the
/// thread is not waited for. Any thread may call.
class background_writer {
public:
    /// Tasks are refused while those that wait hold more bytes than this.
    explicit background_writer(std::size_t most_bytes);
    /// Tasks that are left are not done.
    ~background_writer();
    background_writer(const background_writer&) = delete;
    background_writer& operator=(const background_writer&) = delete;

    /// False when the queue is full: the task is lost. `bytes` is what it holds.
    bool post(std::size_t bytes, std::function<void()> task);

    /// Whether the queue is more than half full, so that producers should pause. After one
    /// second it turns false, and stays so until the queue has been empty once: a slow disk must
    /// not slow others down.
    bool is_behind() const;

    /// Waits until everything is done, but no longer than this; whether it is.
    bool drain(std::chrono::milliseconds limit);

private:
    struct shared_state;
    std::shared_ptr<shared_state> state_;
};

} // namespace vandrel::station
