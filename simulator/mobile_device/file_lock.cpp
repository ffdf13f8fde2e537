#include "simulator/mobile_device/file_lock.h"

namespace simulator {

file_lock file_lock::wait_for(const std::filesystem::path& path) {
    return take(path, true);
}

file_lock file_lock::try_take(const std::filesystem::path& path) {
    return take(path, false);
}

} // namespace simulator
