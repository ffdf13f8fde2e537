#include "simulator/mobile_device/regular_file.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace simulator {

namespace {

struct way_to_open {
    int flags;
    const char* mode;
};

// In the order of file_use.
constexpr std::array<way_to_open, 3> ways{{
    {O_RDONLY, "rb"},
    {O_WRONLY | O_CREAT | O_TRUNC, "wb"},
    {O_WRONLY | O_CREAT | O_APPEND, "ab"},
}};

[[noreturn]] void refuse(int error) {
    throw unusable_file(std::generic_category().message(error));
}

} // namespace

file_handle open_regular_file(const std::filesystem::path& path, file_use use) {
    // Opening a device can already have an effect, so the kind of the file is checked first.
    struct stat status {};
    if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        if (S_ISDIR(status.st_mode)) {
            refuse(EISDIR);
        }
        throw unusable_file("it is a device or a pipe");
    }
    const way_to_open& way = ways.at(static_cast<std::size_t>(use));
    // O_NONBLOCK, because some files of /proc are regular and make their reader wait.
    const int descriptor = open(path.c_str(), way.flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0666);
    if (descriptor < 0) {
        refuse(errno);
    }
    file_handle file(fdopen(descriptor, way.mode));
    if (!file) {
        const int error = errno;
        close(descriptor);
        refuse(error);
    }
    return file;
}

} // namespace simulator
