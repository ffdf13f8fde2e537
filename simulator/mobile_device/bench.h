#pragma once

#include "simulator/mobile_device/file_lock.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace simulator {

/// The state of devices that several processes share. It is stored in a folder, so it outlives each
/// process. Devices are identified by their ECIDs.
///
/// A lock on a file in the folder serialises the processes. If a process is killed, its completed
/// changes stay, and the devices that it was restoring are free again. Thread-safe. Its
/// functions throw std::system_error if they cannot use the folder.
class bench {
public:
    /// The same for all processes of the machine.
    using clock = std::chrono::steady_clock;

    /// The state of a device.
    struct history {
        /// How many restores of it have started.
        std::int64_t restores = 0;
        /// When another process started the restore that is running; none: no other process
        /// restores it.
        std::optional<clock::time_point> held_by_other_since;
        /// When its last restore was completed; none: never.
        std::optional<clock::time_point> restored;
        /// When it returns after that restore; none: never.
        std::optional<clock::time_point> returns;
    };

    /// Opens the bench in `folder`, a path in UTF-8. Creates one that starts now if there is none,
    /// or if the start of the one there is in the future, as after a restart of the machine. Throws
    /// std::runtime_error with a sentence if the folder cannot be used.
    explicit bench(const std::string& folder);

    /// When the first process opened the bench.
    clock::time_point start() const { return start_; }

    /// The devices of which a restore has ever started, by ECID.
    std::map<std::uint64_t, history> devices();

    /// Starts a restore of a device. This process then holds the device until complete_restore, or
    /// until the process ends. Returns how many restores of it started before; none if another
    /// process holds the device.
    std::optional<std::int64_t> begin_restore(std::uint64_t ecid);
    /// Marks the device as restored. `returns` is when it returns; none: never.
    void complete_restore(std::uint64_t ecid, std::optional<clock::time_point> returns);

    /// Whether this process holds a device.
    bool holds_any();

    /// Calls `act` while it holds the lock of the bench.
    void alone(const std::function<void()>& act);

private:
    struct entry {
        std::int64_t restores = 0;
        std::optional<clock::time_point> held_since;
        std::optional<clock::time_point> restored;
        std::optional<clock::time_point> returns;
    };
    struct state {
        std::optional<clock::time_point> start;
        std::map<std::uint64_t, entry> entries;
    };

    std::filesystem::path hold_file(std::uint64_t ecid) const;
    file_lock lock_bench() const;
    // Both are called with the lock of the bench held.
    state read() const;
    void write(const state& content) const;

    std::filesystem::path folder_;
    std::mutex mutex_;
    clock::time_point start_;
    /// The devices that this process holds.
    std::map<std::uint64_t, file_lock> held_;
};

} // namespace simulator
