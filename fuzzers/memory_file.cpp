#include "fuzzers/memory_file.h"

#include <sys/mman.h>
#include <unistd.h>

namespace vandrel::fuzzing {

memory_file::memory_file()
    : descriptor_(memfd_create("input", MFD_CLOEXEC)),
      path_("/proc/self/fd/" + std::to_string(descriptor_)) {
    require(descriptor_ >= 0, "a file in memory");
}

memory_file::~memory_file() {
    close(descriptor_);
}

void memory_file::fill(input bytes) const {
    const bool is_filled =
        ftruncate(descriptor_, 0) == 0 &&
        pwrite(descriptor_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size());
    require(is_filled, "a file in memory that holds the input");
}

} // namespace vandrel::fuzzing
