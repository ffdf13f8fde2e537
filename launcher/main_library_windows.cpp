#include "launcher/main_library.h"
#include "launcher/utf16_to_utf8.h"

#include <memory>
#include <string>
#include <string_view>

#include <windows.h>

namespace vandrel {

namespace {

constexpr std::size_t longest_path = 32768;

struct handle_closer {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};

std::wstring started_file() {
    std::wstring path(longest_path, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

/// The file that a path leads to through links; the path itself if that cannot be found out.
std::wstring resolved(const std::wstring& path) {
    constexpr DWORD any_sharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    HANDLE const opened =
        CreateFileW(path.c_str(), 0, any_sharing, nullptr, OPEN_EXISTING, 0, nullptr);
    if (opened == INVALID_HANDLE_VALUE) {
        return path;
    }
    const std::unique_ptr<void, handle_closer> file(opened);
    std::wstring target(longest_path, L'\0');
    const auto size = static_cast<DWORD>(target.size());
    target.resize(GetFinalPathNameByHandleW(opened, target.data(), size, FILE_NAME_NORMALIZED));
    // Without the prefix, a path on a drive means the same, and is the one that people know.
    constexpr std::wstring_view prefix = L"\\\\?\\";
    if (target.starts_with(prefix) && target.find(L':') == prefix.size() + 1) {
        target.erase(0, prefix.size());
    }
    return target.empty() ? path : target;
}

} // namespace

library_file main_library_file() {
    std::wstring path = resolved(started_file());
    path.resize(path.find_last_of(L'\\') + 1);
    path += L"vandrel.dll";
    return {path, utf16_to_utf8({path.begin(), path.end()})};
}

} // namespace vandrel
