#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <vector>

namespace simulator::test {

/// What callbacks on other threads have told, for a test that waits for it.
template<class Entry>
class event_log {
public:
    void add(Entry entry) {
        const std::lock_guard lock(m_mutex);
        m_entries.push_back(std::move(entry));
        m_added.notify_all();
    }

    /// Everything so far, once there are at least `count`.
    std::vector<Entry> wait_for(std::size_t count) {
        std::unique_lock lock(m_mutex);
        m_added.wait(lock, [&] { return m_entries.size() >= count; });
        return m_entries;
    }

    std::vector<Entry> all() { return wait_for(0); }

private:
    std::mutex m_mutex;
    std::condition_variable m_added;
    std::vector<Entry> m_entries;
};

} // namespace simulator::test
