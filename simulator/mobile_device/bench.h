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

/// What the processes of one bench have done to its devices so far. It is kept in a folder, so that
/// the devices outlive each process. Devices are known by their ECIDs.
///
/// Processes take turns by a lock on a file of the folder. A process that is killed leaves what it
/// had finished, and the devices that it was restoring are free again. Thread-safe.
class bench {
public:
    /// One clock for all processes of the machine.
    using clock = std::chrono::steady_clock;

    /// What happened to a device.
    struct history {
        /// How many restores of it were begun.
        std::int64_t restores = 0;
        /// Since when another process restores it.
        std::optional<clock::time_point> held_by_other_since;
        /// When its last restore was completed.
        std::optional<clock::time_point> restored;
        /// When it comes back after that; none: never.
        std::optional<clock::time_point> returns;
    };

    /// Opens the bench in `folder`, a path in UTF-8, or begins a new one there: now is then its
    /// start. Throws std::runtime_error, whose text is one line, when the folder cannot be used.
    explicit bench(const std::string& folder);

    /// When the first process opened the bench.
    clock::time_point start() const { return start_; }

    /// The devices to which anything happened.
    std::map<std::uint64_t, history> devices();

    /// Begins a restore of a device, which this process then holds until complete_restore, or to
    /// its own end. Returns how many were begun before; none when another process holds the device.
    std::optional<std::int64_t> begin_restore(std::uint64_t ecid);
    /// The device is restored. `returns` is when it comes back, if ever.
    void complete_restore(std::uint64_t ecid, std::optional<clock::time_point> returns);

    /// Whether this process restores a device.
    bool holds_any();

    /// Calls `act` while no other process does.
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
    file_lock own_turn() const;
    // Both in a turn of one's own.
    state read() const;
    void write(const state& content) const;

    std::filesystem::path folder_;
    std::mutex mutex_;
    clock::time_point start_;
    /// The devices that this process restores.
    std::map<std::uint64_t, file_lock> held_;
};

} // namespace simulator
