#pragma once

/// The tool's own errors: the codes of the error domain "vandrel", and the process result that an
/// error of any domain ends a run with.

#include "foundation/cf_handle.h"

#include <cstdint>
#include <string>

namespace vandrel {

/// Stable numbers: they stand in records and are the process result.
enum class tool_error : std::int32_t {
    no_error = 0,
    unknown_error = 1,
    invalid_argument = 2,
    bad_command = 3,
    bad_ecid = 4,
    device_bad_state = 5,
    recovery_command_failed = 6,
    restore_timeout = 7,
    read_error = 8,
};

/// A new error of the domain "vandrel": its description tells the class of failure, its failure
/// reason is `detail` (left out when `detail` is not valid UTF-8). Any number may be given as the
/// code; one without a name is an "Unknown error". Throws std::bad_alloc when CoreFoundation
/// cannot make the error.
cf_error_handle make_tool_error(tool_error code, const std::string& detail);

/// The process result for an error: 0 for none, its code from 0 to 8, else 1. The domain plays no
/// part: an error of the platform with a small code ends the process with that code.
int tool_exit_code(CFErrorRef error);

} // namespace vandrel
