#pragma once

#include <cstdint>

namespace vandrel {

/// The command of a run.
enum class device_operation : std::int32_t {
    list_devices = 0,
    device_info = 1,
    exit_recovery = 2,
    no_exit_recovery = 3,
    restore = 4,
    enter_restore_mode = 5,
};

} // namespace vandrel
