#pragma once

/// What the station asks of its host, besides processes (native_process.h), the screen
/// (terminal.h), announcements of USB devices (usb_watch.h) and the checks of the command `doctor`
/// (doctor_host.h).

#include <boost/asio/io_context.hpp>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vandrel::station {

enum class standard_stream { in, out, error };

bool is_terminal(standard_stream stream);

/// Writes all of `text`, and waits as long as that takes. `text` is UTF-8, and a console shows it
/// as such. False when writing fails.
bool write_all(standard_stream stream, std::string_view text);

std::int64_t own_process_number();

/// The folder in which this program lies.
std::filesystem::path program_folder();

/// "vandrel" or "vandrel.exe".
std::string program_file_name(const std::string& name);

/// Where the user's programs keep what they write for themselves. Throws std::runtime_error without
/// one.
std::filesystem::path local_data_folder();

/// Whether a program has the file open for writing. POSIX hosts do not tell: always false there.
bool is_open_for_writing(const std::filesystem::path& path);

/// How far local time is ahead of UTC.
std::chrono::minutes offset_of_local_time(std::chrono::system_clock::time_point time);

/// From now on Ctrl-C and Ctrl-Break call `cancelled`, and the end of the session or a closed
/// window (on POSIX: SIGTERM and SIGHUP) calls `ends`, both in the loop of `context`. On POSIX,
/// writing to a pipe that nobody reads no longer ends this process. Called once at most.
void watch_signals(boost::asio::io_context& context, std::function<void()> cancelled,
                   std::function<void()> ends);

/// Keeps the computer from going to sleep by itself, or lets it. On POSIX it does nothing.
void keep_awake(bool wanted);

/// A file that one process at a time holds, until this object or the process ends. The file stays.
class held_file {
public:
    virtual ~held_file() = default;
    held_file() = default;
    held_file(const held_file&) = delete;
    held_file& operator=(const held_file&) = delete;

    /// Makes a new file and holds it from the start. Throws std::system_error.
    static std::unique_ptr<held_file> make(const std::filesystem::path& path);
    /// Holds an existing file; null when there is none, when another process holds it, or when it
    /// cannot be opened.
    static std::unique_ptr<held_file> take(const std::filesystem::path& path);
};

/// The right to work on a device. One process on this computer at a time has it.
class device_lock {
public:
    virtual ~device_lock() = default;
    device_lock() = default;
    device_lock(const device_lock&) = delete;
    device_lock& operator=(const device_lock&) = delete;

    struct outcome {
        /// Empty when another process has it, or when that cannot be found out.
        std::unique_ptr<device_lock> lock;
        /// The number of that process, when it is known.
        std::optional<std::int64_t> holder;
    };
    static outcome take(const std::string& ecid);
};

} // namespace vandrel::station
