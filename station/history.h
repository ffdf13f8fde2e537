#pragma once

/// How long each operation took in restores that went well, kept from one run to the next. It only
/// serves to say how long a restore will take. A file that cannot be read, or is too large, counts
/// as empty; one that cannot be written stays as it is.

#include "station/events.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

namespace vandrel::station {

/// Restores of the same kind take about as long as each other.
struct restore_kind {
    std::uint32_t chip_id = 0;
    std::uint32_t board_id = 0;
    /// Of the bundle, such as "21B80".
    std::string build;
    bool erases = false;

    bool operator==(const restore_kind&) const = default;
    bool operator<(const restore_kind& other) const {
        return std::tie(chip_id, board_id, build, erases) <
               std::tie(other.chip_id, other.board_id, other.build, other.erases);
    }
};

struct operation_time {
    std::int32_t operation = 0;
    awake_time length{};

    bool operator==(const operation_time&) const = default;
};

/// A try that restored its device.
struct restored_try {
    restore_kind kind;
    /// In their order. An operation that came several times is there several times.
    std::vector<operation_time> operations;

    bool operator==(const restored_try&) const = default;
};

/// How many tries are kept: the newest of each kind, and of all kinds.
constexpr std::size_t most_tries_of_a_kind = 20;
constexpr std::size_t most_tries = 400;

/// The file in the user's local data; empty when there is no place for it.
std::filesystem::path history_file();

/// The oldest first. Lines that are broken or too long are left out. No content of the file makes
/// it throw.
std::vector<restored_try> load_history(const std::filesystem::path& file);

/// Replaces the whole file; does nothing when `file` is empty or the line of `newest` would be too
/// long. Of two processes that do this at the same time, one can lose its try.
void add_to_history(const std::filesystem::path& file, const restored_try& newest);

} // namespace vandrel::station
