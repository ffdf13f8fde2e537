#pragma once

#include "platform/core_foundation.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vandrel {

/// The values that the tool reads from one status report of a running restore.
struct restore_status {
    /// UTF-8.
    std::string status;
    /// An AMR operation code.
    std::int32_t operation;
    /// Percent, for operations that have one.
    std::int64_t progress;
};

/// Reads "Status" (a string), "Operation" and "Progress" (numbers). A number fits if the field can
/// hold it. An unsigned number with as many bits as the field also fits, and is read as signed.
/// Empty if `statusDict` is not a dictionary, or if one of the three is missing, has another type,
/// does not fit (a number) or has no UTF-8 form (the string). `statusDict` is not null.
std::optional<restore_status> parse_restore_status(CFDictionaryRef statusDict) noexcept;

} // namespace vandrel
