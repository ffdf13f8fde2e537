#pragma once

/// The words for the numbers that the restore framework and the device notifications speak in.
/// The tables are the tool's own, in English only. Everything here may be called from any thread.

#include "platform/core_foundation.h"

#include <fmt/format.h>

#include <cstdint>
#include <string>

namespace vandrel {

/// What a restorable device is doing, as AMRestorableDeviceGetState tells.
enum class device_state : std::uint32_t {
    Unknown = 0,
    DFU = 1,
    Recovery = 2,
    RestoreOS = 3,
    BootedOS = 4,
};

/// What a notification tells of its device.
enum class notification_type : std::uint32_t {
    connected = 0,
    disconnected = 1,
};

/// A restore error's number, for messages.
struct amr_error {
    std::int32_t code;
};

/// A restore operation's number, for messages.
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

/// "Recovery", or "<invalid device state N>".
std::string display_name(device_state state);

/// "connected", or "<invalid notification type N>".
std::string display_name(notification_type type);

} // namespace vandrel

/// In messages all four are texts: what may follow a colon is what strings take.
template<>
struct fmt::formatter<vandrel::device_state> : fmt::formatter<std::string_view> {
    template<class Context>
    auto format(vandrel::device_state state, Context& context) const {
        return formatter<std::string_view>::format(vandrel::display_name(state), context);
    }
};

template<>
struct fmt::formatter<vandrel::notification_type> : fmt::formatter<std::string_view> {
    template<class Context>
    auto format(vandrel::notification_type type, Context& context) const {
        return formatter<std::string_view>::format(vandrel::display_name(type), context);
    }
};

template<>
struct fmt::formatter<vandrel::amr_error> : fmt::formatter<std::string_view> {
    template<class Context>
    auto format(vandrel::amr_error error, Context& context) const {
        return formatter<std::string_view>::format(vandrel::amr_error_text(error.code), context);
    }
};

template<>
struct fmt::formatter<vandrel::amr_operation> : fmt::formatter<std::string_view> {
    template<class Context>
    auto format(vandrel::amr_operation operation, Context& context) const {
        return formatter<std::string_view>::format(vandrel::amr_operation_text(operation.code),
                                                   context);
    }
};
