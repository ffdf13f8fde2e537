#pragma once

#include "platform/core_foundation.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vandrel {

/// What the tool reads of one status report of a running restore.
struct restore_status {
    /// UTF-8.
    std::string status;
    /// An AMR operation code.
    std::int32_t operation;
    /// Percent, when the operation can tell.
    std::int64_t progress;
};

/// Reads "Status" (a string), "Operation" and "Progress" (numbers that fit their fields). Nothing
/// when `statusDict` is no dictionary, or when one of the three is missing, of another type or
/// does not convert. `statusDict` is not null.
std::optional<restore_status> parse_restore_status(CFDictionaryRef statusDict) noexcept;

} // namespace vandrel
