#include "simulator/mobile_device/file_lock.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace simulator {

struct file_lock::open_file {
    int descriptor = -1;
};

void file_lock::closer::operator()(open_file* file) const {
    close(file->descriptor);
    delete file;
}

file_lock file_lock::take(const std::filesystem::path& path, bool waits) {
    const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category());
    }
    file_lock lock;
    lock.file_.reset(new open_file{descriptor});
    int result = -1;
    do {
        result = flock(descriptor, waits ? LOCK_EX : LOCK_EX | LOCK_NB);
    } while (result != 0 && errno == EINTR);
    if (result != 0 && errno != EWOULDBLOCK) {
        throw std::system_error(errno, std::generic_category());
    }
    if (result != 0) {
        lock.file_.reset();
    }
    return lock;
}

} // namespace simulator
