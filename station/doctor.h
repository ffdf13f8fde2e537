#pragma once

/// What a support engineer would ask first. The checks decide; what they need to know comes through
/// `doctor_host`.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vandrel::station {

enum class health { ok, warning, problem };

/// Texts are printable.
struct finding {
    /// Such as "room"; stable.
    std::string check;
    health level = health::ok;
    /// One sentence without a full stop.
    std::string found;
    /// What to do, in whole sentences; empty when there is nothing to do.
    std::string advice;
    /// Such as one line for each folder.
    std::vector<std::string> details;

    bool operator==(const finding&) const = default;
};

struct versioned_file {
    std::filesystem::path path;
    /// Empty when the file has none.
    std::string version;
};

/// How one list of the tool went.
struct tool_answer {
    enum class outcome { listed, no_list, timed_out, not_started };
    outcome how = outcome::listed;
    versioned_file program;
    /// With `listed`.
    std::size_t devices = 0;
    /// Apple's libraries in the tool's process.
    std::vector<versioned_file> libraries;
    /// Why it was not started, or what it said; can be empty.
    std::string text;
    /// With `no_list`.
    int exit_status = 0;
};

/// A device with Apple's vendor number.
struct usb_device {
    std::uint16_t product = 0;
    /// As the system names it; can be empty.
    std::string name;
};

struct scratch_room {
    std::filesystem::path folder;
    std::uint64_t free = 0;
};

struct bundle_room {
    std::size_t usable = 0;
    std::size_t unusable = 0;
    /// What a restore of the largest one needs.
    std::uint64_t largest = 0;
    bool is_on_network = false;
};

/// A folder, or a link, with the name of a tool's scratch folder. The flags are about the folder
/// and all that is in it. If there is a link, nobody looks whether anything is open.
struct left_folder {
    std::filesystem::path path;
    /// Why not all of it could be looked at; empty otherwise.
    std::string problem;
    /// Also for something on another file system.
    bool has_link = false;
    bool is_own = true;
    /// Some program has something in it open.
    bool is_open = false;
    std::chrono::system_clock::time_point changed;
    std::uint64_t size = 0;
};

/// A process. running_tools() gives only those that can have a scratch folder.
struct running_tool {
    std::int64_t number = 0;
    std::string name;
    /// Absent when it cannot be known.
    std::optional<std::chrono::system_clock::time_point> started;
};

/// Each call but now() throws std::exception with a reason when it has no answer.
class doctor_host {
public:
    virtual ~doctor_host() = default;
    doctor_host() = default;
    doctor_host(const doctor_host&) = delete;
    doctor_host& operator=(const doctor_host&) = delete;

    virtual tool_answer ask_tool() = 0;
    /// Nothing on a host that does not list them.
    virtual std::optional<std::vector<usb_device>> apple_devices() = 0;
    /// Throws also when tools could not write there.
    virtual scratch_room room() = 0;
    virtual bundle_room bundles() = 0;
    /// 0 for never; nothing where the doctor cannot know it.
    virtual std::optional<std::chrono::minutes> sleeps_after() = 0;
    /// Why a restart is pending; empty when none is.
    virtual std::vector<std::string> pending_restart() = 0;
    virtual std::filesystem::path temporary_folder() = 0;
    virtual std::vector<left_folder> left_folders() = 0;
    virtual std::vector<running_tool> running_tools() = 0;
    virtual void remove(const std::filesystem::path& folder) = 0;
    virtual std::chrono::system_clock::time_point now() = 0;
};

struct doctor_options {
    /// Of the station.
    std::string version;
    /// A folder of bundles was given.
    bool has_bundles = false;
    /// Remove the scratch folders of which it is certain that nobody needs them.
    bool clean = false;
    /// How long one check may take.
    std::chrono::milliseconds limit = std::chrono::seconds(35);
};

struct diagnosis {
    std::vector<finding> findings;
    /// A check had no answer in time. Its thread still runs.
    bool is_incomplete = false;
};

/// All checks, one after another. The host is called by other threads, by one at a time, apart from
/// those of checks that had no answer in time.
diagnosis examine(const std::shared_ptr<doctor_host>& host, const doctor_options& options);

/// "ok", "warning", "problem".
std::string name_of(health level);

/// Of all findings.
health worst(const std::vector<finding>& findings);

} // namespace vandrel::station
