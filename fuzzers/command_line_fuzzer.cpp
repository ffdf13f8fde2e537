/// parse_arguments and configure_session with a command line, whose arguments are the lines of the
/// input. Writing the parsed options out in full and parsing them again yields the same options.
/// The rule that a command line breaks is compared with an independent implementation of the rules.

#include "device/RestorableDeviceHandler.h"
#include "driver/asks_for_help.h"
#include "driver/command_line_log.h"
#include "driver/configure_session.h"
#include "driver/parse_arguments.h"
#include "foundation/cf_text.h"
#include "fuzzers/fuzzing.h"
#include "output/output_str_state.h"
#include "simulator/core_foundation/accounting.h"
#include "simulator/mobile_device/simulation.h"

#include <boost/filesystem/operations.hpp>

#include <string>
#include <utility>
#include <vector>

namespace vandrel {

// Replaces driver/command_line_log.cpp, which would create files of any name here.
void log_command_line(const std::string&, int argument_count, const char* const*) noexcept {
    fuzzing::require(argument_count > 0, "the program's name for the log");
}

namespace fuzzing {

namespace {

std::vector<std::string> split_lines(std::string_view text) {
    std::vector<std::string> lines{"vandrel"};
    while (!text.empty()) {
        const std::size_t length = std::min(text.find('\n'), text.size());
        // Like the system: a zero byte ends an argument.
        lines.emplace_back(std::string(text.substr(0, length)).c_str());
        text.remove_prefix(std::min(length + 1, text.size()));
    }
    return lines;
}

parse_result parse(const std::vector<std::string>& arguments) {
    std::vector<const char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) {
        pointers.push_back(argument.c_str());
    }
    const auto count = static_cast<int>(pointers.size());
    pointers.push_back(nullptr);
    auto result = parse_arguments(count, pointers.data());
    require(asks_for_help(count, pointers.data()) == (!result.error && result.options.help),
            "the same answer to whether help is asked for");
    return result;
}

/// A command line with these options.
std::vector<std::string> written_out(const start_options& options) {
    std::vector<std::string> result{"vandrel"};
    const auto add_switch = [&result](const char* name, bool is_set) {
        if (is_set) {
            result.emplace_back(name);
        }
    };
    const auto add_text = [&result](const char* name, const std::optional<std::string>& text) {
        if (text && text->empty()) {
            result.insert(result.end(), {name, ""});
        } else if (text) {
            result.push_back(std::string(name) + "=" + *text);
        }
    };
    const auto add_number = [&add_text](const char* name, const auto& number) {
        add_text(name, number ? std::optional(std::to_string(*number)) : std::nullopt);
    };
    // Names all fields, so that another one does not compile before it is added here.
    const auto& [debug, debug_dump, help, no_cleanup, amr_logfile, detect_timeout, ecid,
                 list_devices, device_info, exit_recovery, no_exit_recovery, restore,
                 restore_timeout, erase, restore_plist, enter_restore_mode, output_pipe] = options;
    add_switch("--debug", debug);
    add_switch("--debug-dump", debug_dump);
    add_switch("--help", help);
    add_switch("--no-cleanup", no_cleanup);
    add_text("--amr-logfile", amr_logfile);
    add_number("--detect-timeout", detect_timeout);
    add_text("--ecid", ecid);
    add_switch("--list-devices", list_devices);
    add_switch("--device-info", device_info);
    add_switch("--exit-recovery", exit_recovery);
    add_switch("--no-exit-recovery", no_exit_recovery);
    add_text("--restore", restore);
    add_number("--restore-timeout", restore_timeout);
    add_switch("--erase", erase);
    add_text("--restore-plist", restore_plist);
    add_switch("--enter-restore-mode", enter_restore_mode);
    add_number("--output-pipe", output_pipe);
    return result;
}

/// The parts of an error that are compared.
struct failure {
    std::string domain;
    CFIndex code = 0;
    std::string reason;
    bool operator==(const failure&) const = default;
};

failure failure_of(CFErrorRef error) {
    const cf_handle<CFStringRef> reason(CFErrorCopyFailureReason(error));
    return {cfstring_to_string(CFErrorGetDomain(error)), CFErrorGetCode(error),
            cfstring_to_string(reason.get())};
}

/// The failure of every valid command: the simulator refuses the registration for notifications, so
/// that no time is spent on waiting for a device.
const failure& refused_registration() {
    static const auto& result = *new failure{"fuzzer", 99, "no devices today"};
    return result;
}

void play_refusing_platform() {
    static const bool is_started = [] {
        const simulator::unaccounted_scope scope;
        simulator::scenario scenario;
        scenario.registration_error = {refused_registration().domain, refused_registration().code,
                                       std::nullopt, refused_registration().reason};
        simulator::start(std::move(scenario));
        return true;
    }();
    require(is_started, "a platform");
}

bool is_ecid(const std::string& text) {
    return text.size() == 16 &&
           text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

failure bad_command(const std::string& reason) {
    return {"vandrel", 3, reason};
}

/// The option that chooses the command, without dashes; empty when none does.
std::string chosen_command(const start_options& options) {
    const std::pair<bool, const char*> commands[] = {
        {options.list_devices, "list-devices"},
        {options.device_info, "device-info"},
        {options.exit_recovery, "exit-recovery"},
        {options.no_exit_recovery, "no-exit-recovery"},
        {options.restore.has_value(), "restore"},
        {options.restore_plist.has_value(), "restore-plist"},
    };
    for (const auto& [is_given, name] : commands) {
        if (is_given) {
            return name;
        }
    }
    return "";
}

failure expected_failure(const start_options& options) {
    if (options.ecid && !is_ecid(*options.ecid)) {
        return {"vandrel", 2, "Invalid ecid"};
    }
    if (options.erase && !options.restore) {
        return bad_command("Option --erase only compatible with --restore");
    }
    if (options.restore_timeout && !options.restore) {
        return bad_command("Option --restore-timeout only compatible with --restore");
    }
    const std::string command = chosen_command(options);
    if (command.empty()) {
        return bad_command("Invalid command option");
    }
    if (command == "list-devices") {
        return options.ecid ? bad_command("Option --list-devices not compatible with --ecid")
                            : refused_registration();
    }
    if (!options.ecid) {
        return bad_command("Option --" + command + " requires --ecid");
    }
    if (command == "restore" && options.restore->empty()) {
        return bad_command("Missing restore IPSW path");
    }
    return refused_registration();
}

/// Runs a session with these options until it fails.
failure run_session(const start_options& options) {
    static const auto& scratch = *new boost::filesystem::path(
        boost::filesystem::temp_directory_path() / "vandrel-fuzzer-makes-no-such-folder");
    const auto channel = std::make_shared<output_str_state>(std::nullopt);
    try {
        configure_session(options,
                          std::make_shared<device_notifier_state>(channel, std::nullopt, scratch));
    } catch (const cf_error_handle& error) {
        return failure_of(error.get());
    } catch (const std::runtime_error& error) {
        return {"exception", 0, error.what()};
    }
    return {};
}

void try_options(const start_options& options) {
    play_refusing_platform();
    const failure expected = expected_failure(options);
    const failure actual = run_session(options);
    // The file may or may not exist.
    const bool cannot_read = expected == refused_registration() && options.restore_plist &&
                             actual.domain == "vandrel" && actual.code == 8;
    const bool is_no_text =
        expected == refused_registration() && options.restore &&
        actual == failure{"exception", 0, "Could not convert restore path to text"} &&
        !make_cfstring(*options.restore);
    require(actual == expected || cannot_read || is_no_text, "the rule that is broken, if any");
}

} // namespace

void try_input(input bytes) {
    const auto result = parse(split_lines(text_of(bytes)));
    if (result.error) {
        const failure error = failure_of(result.error.get());
        require(error.domain == "vandrel" && error.code >= 1 && error.code <= 3,
                "an error of a command line");
        return;
    }
    const auto again = parse(written_out(result.options));
    require(!again.error && written_out(again.options) == written_out(result.options),
            "the same options from the same options written out");
    try_options(result.options);
}

} // namespace fuzzing

} // namespace vandrel
