#pragma once

/// What the doctor asks of the system. Each function throws std::exception with a reason when it
/// has no answer, unless its comment says what it returns then.

#include "station/doctor.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vandrel::station {

/// "1.2.3.4"; empty when the file has none, or cannot be read.
std::string file_version(const std::filesystem::path& file);

/// The libraries and other files in the memory of a process; none when it cannot be looked into.
std::vector<std::filesystem::path> loaded_files(std::int64_t process);

/// What is attached to the USB and has Apple's vendor number. Nothing on a host that does not list
/// devices.
std::optional<std::vector<usb_device>> attached_apple_devices();

bool is_on_network(const std::filesystem::path& folder);

/// On mains power, without input; 0 for never. Nothing where there is no one setting for it.
std::optional<std::chrono::minutes> time_until_sleep();

/// Why a restart is pending; empty when none is.
std::vector<std::string> reasons_for_restart();

struct entry_facts {
    /// Of whatever kind: what lies behind it is not looked at.
    bool is_link = false;
    bool is_folder = false;
    /// Of the user who runs this process.
    bool is_own = false;
    std::chrono::system_clock::time_point changed;
    std::uint64_t size = 0;
    /// Differs where another file system begins. Always 0 on Windows, where another file system
    /// within a folder is a link.
    std::uint64_t volume = 0;
};

entry_facts look_at(const std::filesystem::path& path);

/// Whether a program has the folder, or one of the entries in it, open. `entries` are all that are
/// in it, and the folder.
bool is_in_use(const std::filesystem::path& folder,
               const std::vector<std::filesystem::path>& entries);

/// All processes; `name` is the file name of the program.
std::vector<running_tool> running_processes();

} // namespace vandrel::station
