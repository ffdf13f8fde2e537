#pragma once

/// What the station asks of its host, besides processes.

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

/// Writes everything, and waits as long as that takes. UTF-8; a console shows it as such. False
/// when the stream takes nothing any more.
bool write_all(standard_stream stream, std::string_view text);

std::int64_t own_process_number();

/// The folder in which this program lies.
std::filesystem::path program_folder();

/// "vandrel" or "vandrel.exe".
std::string program_file_name(const std::string& name);

/// Where the user's programs keep what they write for themselves. Throws std::runtime_error without
/// one.
std::filesystem::path local_data_folder();

/// Whether a program has the file open for writing, as far as the host says so.
bool is_open_for_writing(const std::filesystem::path& path);

/// How far local time is ahead of UTC.
std::chrono::minutes offset_of_local_time(std::chrono::system_clock::time_point time);

/// From now on Ctrl-C and Ctrl-Break call `cancelled`, and the end of the session calls `ends`,
/// both in the loop of `context`. A closed standard output ends no process any more.
void watch_signals(boost::asio::io_context& context, std::function<void()> cancelled,
                   std::function<void()> ends);

/// Keeps the computer from going to sleep by itself, or lets it.
void keep_awake(bool wanted);

/// A file that one process at a time holds; the system lets go of it when that ends. The file
/// stays.
class held_file {
public:
    virtual ~held_file() = default;
    held_file() = default;
    held_file(const held_file&) = delete;
    held_file& operator=(const held_file&) = delete;

    /// Makes a new file and holds it from the start. Throws std::system_error.
    static std::unique_ptr<held_file> make(const std::filesystem::path& path);
    /// Holds one that is there; nothing when it is not, or another process holds it.
    static std::unique_ptr<held_file> take(const std::filesystem::path& path);
};

/// The right to work on a device; one process on this computer has it.
class device_lock {
public:
    virtual ~device_lock() = default;
    device_lock() = default;
    device_lock(const device_lock&) = delete;
    device_lock& operator=(const device_lock&) = delete;

    struct outcome {
        /// Empty when another process has it, or when that cannot be found out.
        std::unique_ptr<device_lock> lock;
        /// That process, where it can be known.
        std::optional<std::int64_t> holder;
    };
    static outcome take(const std::string& ecid);
};

} // namespace vandrel::station
