#pragma once

/// Texts for restore errors, restore operations, device states and kinds of notification. The
/// texts are the tool's own, in English only, although two functions are named "Localized", and
/// begin like MobileDevice's. Everything here may be called from any thread.

#include "debug/device_state.h"
#include "platform/core_foundation.h"

#include <cstdint>
#include <string>

namespace vandrel {

/// A restore error in a message: the code is written as its text.
struct amr_error {
    std::int32_t code;
};

/// A restore operation in a message: the code is written as its name.
struct amr_operation {
    std::int32_t code;
};

/// The message of an AMR error code, the caller's to release; "Unknown" for a code without one.
/// Never null.
CFStringRef AMRLocalizedCopyStringForAMRError(std::int32_t code);

/// The name of an AMR operation code, the caller's to release; "Unknown" for a code without one.
/// Never null.
CFStringRef AMRLocalizedCopyStringForAMROperation(std::int32_t code);

/// The message of an AMR error code in UTF-8; "Unknown error N" for a code without one.
std::string amr_error_text(std::int32_t code);

/// The name of an AMR operation code in UTF-8; "Unknown operation N" for a code without one.
std::string amr_operation_text(std::int32_t code);

// In messages, states, kinds, errors and operations are written as texts. The format options are
// those of strings.

/// The name of the state, such as "Recovery"; "<invalid device state N>" for any other number.
std::string format_as(device_state state);

/// "connected" or "disconnected"; "<invalid notification type N>" for any other number.
std::string format_as(notification_type type);

inline std::string format_as(amr_error error) {
    return amr_error_text(error.code);
}

inline std::string format_as(amr_operation operation) {
    return amr_operation_text(operation.code);
}

} // namespace vandrel
