#include "launcher/main_library.h"
#include "launcher/utf16_to_utf8.h"

#include <memory>
#include <string>

#include <windows.h>

namespace vandrel {

namespace {

constexpr std::size_t longest_path = 32768;

struct handle_closer {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};

/// Where a link leads; the path itself if that cannot be found out.
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
    return target.empty() ? path : target;
}

std::wstring program_file() {
    std::wstring path(longest_path, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    const DWORD attributes = GetFileAttributesW(path.c_str());
    const bool is_link =
        attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    return is_link ? resolved(path) : path;
}

} // namespace

library_file main_library_file() {
    std::wstring path = program_file();
    path.resize(path.find_last_of(L'\\') + 1);
    path += L"vandrel.dll";
    return {path, utf16_to_utf8({path.begin(), path.end()})};
}

} // namespace vandrel
