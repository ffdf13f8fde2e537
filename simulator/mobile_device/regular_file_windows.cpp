#include "simulator/mobile_device/regular_file.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <system_error>

#include <fcntl.h>
#include <io.h>
#include <windows.h>

namespace simulator {

namespace {

struct way_to_open {
    DWORD access;
    DWORD disposition;
    int flags;
    const char* mode;
};

// In the order of file_use.
constexpr std::array<way_to_open, 3> ways{{
    {GENERIC_READ, OPEN_EXISTING, _O_RDONLY | _O_BINARY, "rb"},
    {GENERIC_WRITE, CREATE_ALWAYS, _O_WRONLY | _O_BINARY, "wb"},
    {FILE_APPEND_DATA, OPEN_ALWAYS, _O_WRONLY | _O_APPEND | _O_BINARY, "ab"},
}};

struct handle_closer {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};

[[noreturn]] void refuse() {
    const std::error_code error(static_cast<int>(GetLastError()), std::system_category());
    throw unusable_file(error.default_error_condition().message());
}

} // namespace

file_handle open_regular_file(const std::filesystem::path& path, file_use use) {
    const way_to_open& way = ways.at(static_cast<std::size_t>(use));
    HANDLE const opened = CreateFileW(path.c_str(), way.access,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, way.disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (opened == INVALID_HANDLE_VALUE) {
        refuse();
    }
    std::unique_ptr<void, handle_closer> handle(opened);
    if (GetFileType(opened) != FILE_TYPE_DISK) {
        throw unusable_file("it is a device or a pipe");
    }
    const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(opened), way.flags);
    file_handle file(descriptor < 0 ? nullptr : _fdopen(descriptor, way.mode));
    if (!file) {
        throw unusable_file("too many files are open");
    }
    // NOLINTNEXTLINE(bugprone-unused-return-value): the stream owns it now
    handle.release();
    return file;
}

} // namespace simulator
