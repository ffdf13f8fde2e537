#include "simulator/mobile_device/file_lock.h"

#include <system_error>

#include <windows.h>

namespace simulator {

struct file_lock::open_file {
    HANDLE handle;
};

void file_lock::closer::operator()(open_file* file) const {
    CloseHandle(file->handle);
    delete file;
}

file_lock file_lock::take(const std::filesystem::path& path, bool waits) {
    const auto fail = [] {
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category());
    };
    HANDLE const handle = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        fail();
    }
    file_lock lock;
    lock.file_.reset(new open_file{handle});
    OVERLAPPED position{};
    const DWORD at_once = waits ? 0 : LOCKFILE_FAIL_IMMEDIATELY;
    if (!LockFileEx(handle, LOCKFILE_EXCLUSIVE_LOCK | at_once, 0, 1, 0, &position)) {
        if (GetLastError() != ERROR_LOCK_VIOLATION && GetLastError() != ERROR_IO_PENDING) {
            fail();
        }
        lock.file_.reset();
    }
    return lock;
}

} // namespace simulator
