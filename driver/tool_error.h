#pragma once

/// The tool's own errors: the codes of the error domain "vandrel", and the exit status for an error
/// of any domain.

#include "foundation/cf_handle.h"

#include <cstdint>
#include <string>

namespace vandrel {

/// The numbers never change: they are the codes in records and the exit status.
enum class tool_error : std::int32_t {
    no_error = 0,
    unknown_error = 1,
    invalid_argument = 2,
    bad_command = 3,
    /// The device was not found in time. A malformed ECID is an invalid_argument.
    bad_ecid = 4,
    device_bad_state = 5,
    recovery_command_failed = 6,
    restore_timeout = 7,
    read_error = 8,
};

/// A new error of the domain "vandrel": its description is that of the code, its failure reason is
/// `detail` (left out when `detail` is not valid UTF-8). Any number may be given as the code; one
/// without a name is an "Unknown error". If CoreFoundation cannot make one of the two texts, the
/// error lacks it. Throws std::bad_alloc when it cannot make the error.
cf_error_handle make_tool_error(tool_error code, const std::string& detail);

/// The unknown_error for a failure whose own error could not be made because memory ran out, with
/// the reason "std::bad_alloc". Null if there is no memory for this one either.
cf_error_handle make_out_of_memory_error() noexcept;

/// The exit status for an error: 0 for null. Otherwise the low 32 bits of its code, if they are 0
/// to 8 as an unsigned number; 1 if they are not. The domain is not considered: an error of Apple's
/// platform with a small code ends the process with that code.
int tool_exit_code(CFErrorRef error);

} // namespace vandrel
