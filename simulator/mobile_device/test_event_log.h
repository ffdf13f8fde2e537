#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <utility>
#include <vector>

namespace simulator::test {

/// Events recorded by callbacks on other threads, for a test that waits for them.
template<class Entry>
class event_log {
public:
    void add(Entry entry) {
        const std::lock_guard lock(mutex_);
        entries_.push_back(std::move(entry));
        added_.notify_all();
    }

    /// Everything so far, once there are at least `count`.
    std::vector<Entry> wait_for(std::size_t count) {
        std::unique_lock lock(mutex_);
        added_.wait(lock, [&] { return entries_.size() >= count; });
        return entries_;
    }

    std::vector<Entry> all() { return wait_for(0); }

private:
    std::mutex mutex_;
    std::condition_variable added_;
    std::vector<Entry> entries_;
};

} // namespace simulator::test
