#include "station/host.h"
#include "station/message_window_windows.h"

#include <boost/asio/post.hpp>

#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include <windows.h>

namespace vandrel::station {

namespace {

struct handle_closer {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using unique_handle = std::unique_ptr<void, handle_closer>;

class windows_held_file final : public held_file {
public:
    explicit windows_held_file(HANDLE file) : file_(file) {}

private:
    unique_handle file_;
};

class windows_device_lock final : public device_lock {
public:
    windows_device_lock(unique_handle mutex, HANDLE number)
        : mutex_(std::move(mutex)), number_(number) {}

private:
    unique_handle mutex_;
    unique_handle number_;
};

HANDLE handle_of(standard_stream stream) {
    switch (stream) {
    case standard_stream::in:
        return GetStdHandle(STD_INPUT_HANDLE);
    case standard_stream::out:
        return GetStdHandle(STD_OUTPUT_HANDLE);
    case standard_stream::error:
        break;
    }
    return GetStdHandle(STD_ERROR_HANDLE);
}

std::wstring variable(const wchar_t* name) {
    std::wstring value(32768, L'\0');
    value.resize(GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size())));
    return value;
}

bool write_to_console(HANDLE console, std::string_view text) {
    const int size = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0');
    const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), size);
    DWORD written = 0;
    return WriteConsoleW(console, wide.data(), static_cast<DWORD>(length), &written, nullptr) != 0;
}

/// The file in which the process that holds a device leaves its number, for people. Empty when
/// there is no folder for it, which is no error: the mutex alone is the lock.
std::filesystem::path number_file(const std::string& ecid) {
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
    return error ? folder : folder / ("vandrel-station-" + ecid + ".lock");
}

HANDLE write_number(const std::string& ecid) {
    HANDLE file = CreateFileW(number_file(ecid).c_str(), GENERIC_WRITE | DELETE,
                              FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return nullptr;
    }
    const std::string number = std::to_string(GetCurrentProcessId());
    DWORD written = 0;
    WriteFile(file, number.data(), static_cast<DWORD>(number.size()), &written, nullptr);
    return file;
}

std::optional<std::int64_t> read_number(const std::string& ecid) {
    HANDLE file = CreateFileW(number_file(ecid).c_str(), GENERIC_READ,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                              OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return {};
    }
    const unique_handle owned(file);
    std::string text(20, '\0');
    DWORD count = 0;
    if (!ReadFile(file, text.data(), static_cast<DWORD>(text.size()), &count, nullptr) ||
        count == 0) {
        return {};
    }
    return std::strtoll(text.c_str(), nullptr, 10);
}

struct session_watch {
    boost::asio::io_context* context = nullptr;
    std::function<void()> cancelled;
    std::function<void()> ends;
};

session_watch& watch() {
    static auto* const only = new session_watch;
    return *only;
}

/// The system may end the process when its announcement returns, so it never returns: the loop ends
/// the process.
[[noreturn]] void end_run() {
    boost::asio::post(*watch().context, watch().ends);
    for (;;) {
        Sleep(INFINITE);
    }
}

/// Called by the system on a thread of its own.
BOOL WINAPI handle_control(DWORD control) {
    if (control == CTRL_C_EVENT || control == CTRL_BREAK_EVENT) {
        boost::asio::post(*watch().context, watch().cancelled);
        return TRUE;
    }
    end_run();
}

/// Windows announces logging off and shutting down to the windows of a program that has any, not to
/// its console.
std::optional<LRESULT> handle_session(UINT message, WPARAM what) {
    if (message == WM_ENDSESSION && what != FALSE) {
        end_run();
    }
    return {};
}

} // namespace

bool is_terminal(standard_stream stream) {
    DWORD mode = 0;
    return GetConsoleMode(handle_of(stream), &mode) != 0;
}

bool write_all(standard_stream stream, std::string_view text) {
    HANDLE handle = handle_of(stream);
    if (is_terminal(stream)) {
        return write_to_console(handle, text);
    }
    while (!text.empty()) {
        DWORD count = 0;
        if (!WriteFile(handle, text.data(), static_cast<DWORD>(text.size()), &count, nullptr)) {
            return false;
        }
        text.remove_prefix(count);
    }
    return true;
}

std::int64_t own_process_number() {
    return GetCurrentProcessId();
}

std::filesystem::path program_folder() {
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return std::filesystem::path(path).parent_path();
}

std::string program_file_name(const std::string& name) {
    return name + ".exe";
}

std::filesystem::path local_data_folder() {
    const std::wstring folder = variable(L"LOCALAPPDATA");
    if (folder.empty()) {
        throw std::runtime_error("LOCALAPPDATA names no folder");
    }
    return folder;
}

bool is_open_for_writing(const std::filesystem::path& path) {
    // Sharing with writers is not allowed, so the call fails while there is one.
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE,
                              nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return GetLastError() == ERROR_SHARING_VIOLATION;
    }
    CloseHandle(file);
    return false;
}

std::chrono::minutes offset_of_local_time(std::chrono::system_clock::time_point time) {
    // In units of 100 ns, from 1601.
    constexpr std::int64_t epoch = 116'444'736'000'000'000;
    const auto since =
        std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch());
    const auto count = static_cast<std::uint64_t>(since.count() * 10 + epoch);
    const FILETIME file_time{static_cast<DWORD>(count), static_cast<DWORD>(count >> 32U)};
    SYSTEMTIME utc{};
    SYSTEMTIME local{};
    FILETIME local_time{};
    if (!FileTimeToSystemTime(&file_time, &utc) ||
        !SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local) ||
        !SystemTimeToFileTime(&local, &local_time)) {
        return {};
    }
    const std::uint64_t there =
        (std::uint64_t{local_time.dwHighDateTime} << 32U) | local_time.dwLowDateTime;
    const auto ahead = static_cast<std::int64_t>(there) - static_cast<std::int64_t>(count);
    // What the conversion cuts off is less than half a minute.
    constexpr std::int64_t minute = 600'000'000;
    const std::int64_t half = ahead < 0 ? -minute / 2 : minute / 2;
    return std::chrono::minutes((ahead + half) / minute);
}

void watch_signals(boost::asio::io_context& context, std::function<void()> cancelled,
                   std::function<void()> ends) {
    watch() = {&context, std::move(cancelled), std::move(ends)};
    SetConsoleCtrlHandler(nullptr, FALSE);
    SetConsoleCtrlHandler(handle_control, TRUE);
    // It lives as long as the process.
    static auto* const session = new message_window(
        L"vandrel-station-session", message_window::kind::top_level, handle_session);
    static_cast<void>(session);
}

void keep_awake(bool wanted) {
    SetThreadExecutionState(wanted ? ES_CONTINUOUS | ES_SYSTEM_REQUIRED : ES_CONTINUOUS);
}

std::unique_ptr<held_file> held_file::make(const std::filesystem::path& path) {
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category());
    }
    return std::make_unique<windows_held_file>(file);
}

std::unique_ptr<held_file> held_file::take(const std::filesystem::path& path) {
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return nullptr;
    }
    return std::make_unique<windows_held_file>(file);
}

device_lock::outcome device_lock::take(const std::string& ecid) {
    // The mutex is the lock by its existence. It ends with the last process that has it open.
    const std::string name = "Global\\vandrel-station-" + ecid;
    unique_handle mutex(
        CreateMutexW(nullptr, FALSE, std::wstring(name.begin(), name.end()).c_str()));
    if (!mutex || GetLastError() == ERROR_ALREADY_EXISTS) {
        return {nullptr, read_number(ecid)};
    }
    return {std::make_unique<windows_device_lock>(std::move(mutex), write_number(ecid)), {}};
}

} // namespace vandrel::station
