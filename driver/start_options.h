#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vandrel {

/// The parsed command line: one field for each option. The order of the fields is that of the
/// option table, but for `ecid` and `detect_timeout`. An absent value means that the option was not
/// given. Texts are UTF-8.
struct start_options {
    bool debug = false;
    bool debug_dump = false;
    bool help = false;
    /// Accepted for the compatibility of command lines; nothing reads it.
    bool no_cleanup = false;
    std::optional<std::string> amr_logfile;
    /// Seconds.
    std::optional<std::uint32_t> detect_timeout;
    std::optional<std::string> ecid;
    bool list_devices = false;
    bool device_info = false;
    bool exit_recovery = false;
    bool no_exit_recovery = false;
    /// Path of an IPSW bundle.
    std::optional<std::string> restore;
    /// Seconds.
    std::optional<std::uint32_t> restore_timeout;
    bool erase = false;
    /// Path of a property-list file.
    std::optional<std::string> restore_plist;
    bool enter_restore_mode = false;
    /// A file descriptor's number, or on Windows a handle's value.
    std::optional<std::int64_t> output_pipe;
};

} // namespace vandrel
