#include "station/test_tool_host.h"

#include <cstdint>
#include <cstdlib>

#include <windows.h>

namespace vandrel {

namespace {

std::string to_utf8(const std::wstring& text) {
    const int size = static_cast<int>(text.size());
    std::string result(text.size() * 3, '\0');
    result.resize(static_cast<std::size_t>(
        WideCharToMultiByte(CP_UTF8, 0, text.data(), size, result.data(),
                            static_cast<int>(result.size()), nullptr, nullptr)));
    return result;
}

} // namespace

std::string environment_variable(const std::string& name) {
    std::wstring value(32768, L'\0');
    value.resize(GetEnvironmentVariableW(std::wstring(name.begin(), name.end()).c_str(),
                                         value.data(), static_cast<DWORD>(value.size())));
    return to_utf8(value);
}

std::vector<std::string> open_handles() {
    // Numbers of handles are multiples of four, and small in a process that has just begun.
    constexpr std::uintptr_t end = 4096;
    std::vector<std::string> result;
    for (std::uintptr_t number = 4; number < end; number += 4) {
        if (GetFileType(reinterpret_cast<HANDLE>(number)) == FILE_TYPE_PIPE) {
            result.push_back("pipe " + std::to_string(number));
        }
    }
    return result;
}

void append_line(const std::filesystem::path& file, const std::string& line) {
    // Nobody else may have the file open meanwhile: two processes that add to the same end
    // overwrite each other's lines.
    HANDLE opened = INVALID_HANDLE_VALUE;
    for (;;) {
        opened = CreateFileW(file.c_str(), FILE_APPEND_DATA, 0, nullptr, OPEN_ALWAYS,
                             FILE_ATTRIBUTE_NORMAL, nullptr);
        if (opened != INVALID_HANDLE_VALUE) {
            break;
        }
        if (GetLastError() != ERROR_SHARING_VIOLATION) {
            std::abort();
        }
        Sleep(1);
    }
    const std::string text = line + '\n';
    DWORD written = 0;
    WriteFile(opened, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    CloseHandle(opened);
}

} // namespace vandrel
