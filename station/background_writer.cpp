#include "station/background_writer.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

namespace vandrel::station {

using std::chrono::steady_clock;

namespace {

/// Enough for a queue that is full because the processor is busy.
constexpr std::chrono::seconds longest_wait(1);
/// About what a task takes besides the bytes that it holds.
constexpr std::size_t task_bytes = 256;

} // namespace

struct background_writer::shared_state {
    struct task {
        std::size_t bytes;
        std::function<void()> run;
    };

    explicit shared_state(std::size_t most) : most_bytes(most) {}

    void work() {
        std::unique_lock lock(mutex);
        for (;;) {
            has_task.wait(lock, [this] { return !tasks.empty() || stopped; });
            if (stopped) {
                return;
            }
            const task next = std::move(tasks.front());
            tasks.pop_front();
            lock.unlock();
            try {
                next.run();
            } catch (const std::exception&) {
                // Nobody waits for the task's outcome, and the next ones are to be done.
            }
            lock.lock();
            waiting_bytes -= next.bytes + task_bytes;
            if (--unfinished == 0) {
                behind_since.reset();
            }
            is_done.notify_all();
        }
    }

    const std::size_t most_bytes;
    mutable std::mutex mutex;
    std::condition_variable has_task;
    std::condition_variable is_done;
    std::deque<task> tasks;
    std::size_t waiting_bytes = 0;
    std::size_t unfinished = 0;
    bool stopped = false;
    /// When the queue was more than half full, the first time since all tasks were done.
    std::optional<steady_clock::time_point> behind_since;
};

background_writer::background_writer(std::size_t most_bytes)
    : state_(std::make_shared<shared_state>(most_bytes)) {
    // The thread shares the state: it may outlive this object in a call that does not return.
    std::thread([state = state_] { state->work(); }).detach();
}

background_writer::~background_writer() {
    const std::lock_guard lock(state_->mutex);
    state_->stopped = true;
    state_->has_task.notify_all();
}

bool background_writer::post(std::size_t bytes, std::function<void()> task) {
    const std::lock_guard lock(state_->mutex);
    if (state_->waiting_bytes > state_->most_bytes) {
        return false;
    }
    state_->waiting_bytes += bytes + task_bytes;
    if (state_->waiting_bytes > state_->most_bytes / 2 && !state_->behind_since) {
        state_->behind_since = steady_clock::now();
    }
    ++state_->unfinished;
    state_->tasks.push_back({bytes, std::move(task)});
    state_->has_task.notify_one();
    return true;
}

bool background_writer::is_behind() const {
    const std::lock_guard lock(state_->mutex);
    return state_->waiting_bytes > state_->most_bytes / 2 &&
           steady_clock::now() - *state_->behind_since < longest_wait;
}

bool background_writer::drain(std::chrono::milliseconds limit) {
    std::unique_lock lock(state_->mutex);
    return state_->is_done.wait_for(lock, limit, [this] { return state_->unfinished == 0; });
}

} // namespace vandrel::station
