#include "driver/configure_session.h"

#include "device/RestorableDeviceHandler.h"
#include "device/restore_options.h"
#include "driver/tool_error.h"

#include <fmt/format.h>

#include <stdexcept>
#include <string_view>

namespace vandrel {

namespace {

std::int64_t nanoseconds(std::uint32_t seconds) {
    return std::int64_t{seconds} * 1'000'000'000;
}

[[noreturn]] void refuse(const std::string& reason) {
    throw make_tool_error(tool_error::bad_command, reason);
}

Orv::ecid parse_ecid(const std::string& text) {
    try {
        return Orv::ecid(text);
    } catch (const std::invalid_argument&) {
        throw make_tool_error(tool_error::invalid_argument, "Invalid ecid");
    }
}

void apply_settings(const start_options& options, device_notifier_state& session) {
    if (options.detect_timeout) {
        session.detectTimeout = nanoseconds(*options.detect_timeout);
    }
    if (options.ecid) {
        session.targetEcid = parse_ecid(*options.ecid);
    }
    constexpr auto only_with = "Option --{} only compatible with --{}";
    if (options.erase && !options.restore) {
        refuse(fmt::format(only_with, "erase", "restore"));
    }
    if (options.restore_timeout) {
        // Not even with --restore-plist; command lines in use rely on the refusal.
        if (!options.restore) {
            refuse(fmt::format(only_with, "restore-timeout", "restore"));
        }
        session.restoreTimeout = nanoseconds(*options.restore_timeout);
    }
}

cf_handle<CFDictionaryRef> require_restore_options(const boost::filesystem::path& file) {
    auto options = read_restore_plist(file);
    if (!options) {
        throw make_tool_error(tool_error::invalid_argument, "Invalid restore options");
    }
    return options;
}

void choose_command(const start_options& options, device_notifier_state& session) {
    const auto choose = [&session](device_operation operation, std::string_view name) {
        session.operation = operation;
        session.operationName = name;
    };
    const auto choose_for_device = [&](device_operation operation, std::string_view name) {
        if (!options.ecid) {
            refuse(fmt::format("Option --{} requires --{}", name, "ecid"));
        }
        choose(operation, name);
    };
    const auto restore_operation = options.enter_restore_mode ? device_operation::enter_restore_mode
                                                              : device_operation::restore;

    if (options.list_devices) {
        if (options.ecid) {
            refuse(fmt::format("Option --{} not compatible with --{}", "list-devices", "ecid"));
        }
        choose(device_operation::list_devices, "list-devices");
    } else if (options.device_info) {
        choose_for_device(device_operation::device_info, "device-info");
    } else if (options.exit_recovery) {
        choose_for_device(device_operation::exit_recovery, "exit-recovery");
    } else if (options.no_exit_recovery) {
        choose_for_device(device_operation::no_exit_recovery, "no-exit-recovery");
    } else if (options.restore) {
        choose_for_device(restore_operation, "restore");
        const boost::filesystem::path bundle(*options.restore);
        if (bundle.empty()) {
            refuse("Missing restore IPSW path");
        }
        session.set_restore_bundle(bundle, options.erase);
    } else if (options.restore_plist) {
        choose_for_device(restore_operation, "restore-plist");
        session.restoreOptions = require_restore_options(*options.restore_plist);
    } else {
        refuse("Invalid command option");
    }
}

} // namespace

void configure_session(const start_options& options,
                       const std::shared_ptr<device_notifier_state>& session) {
    apply_settings(options, *session);
    choose_command(options, *session);
    session->waitForCompletion();
}

} // namespace vandrel
