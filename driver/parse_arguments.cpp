#include "driver/parse_arguments.h"

#include "driver/command_line_log.h"
#include "driver/exception_error.h"

#include <boost/algorithm/string/replace.hpp>
#include <boost/program_options.hpp>

#include <stdexcept>
#include <string>
#include <vector>

namespace vandrel {

namespace {

namespace po = boost::program_options;

/// The library fills arguments into its messages in place of words such as "%value%", and goes on
/// as long as it finds the word: for ever, when the argument has brought it along. So what it gets
/// has a mark behind every percent sign, and what it gives back is freed from the marks.
constexpr auto percent = "%";
constexpr auto marked_percent = "%\x01";

std::string without_marks(const std::string& text) {
    return boost::replace_all_copy(text, marked_percent, percent);
}

/// A switch that stores straight into its field.
auto into(bool& field) {
    return po::bool_switch(&field);
}

/// A value that stores into its optional field.
template<class Value>
auto into(std::optional<Value>& field) {
    return po::value<Value>()->notifier([&field](const Value& value) { field = value; });
}

auto into(std::optional<std::string>& field) {
    return po::value<std::string>()->notifier(
        [&field](const std::string& value) { field = without_marks(value); });
}

/// The option table, which `--help` lists in this order. Parsing stores into `options`; printing
/// does not need them.
po::options_description describe_options(start_options& options) {
    po::options_description description("Program options");
    auto option = description.add_options();
    option("debug", into(options.debug), "Enable debugging output");
    option("debug-dump", into(options.debug_dump), "Dump mobiledevice implementations (debugging)");
    option("help", into(options.help), "Print this description");
    option("no-cleanup", into(options.no_cleanup), "Disable auto temp file cleanup on exit");
    option("amr-logfile", into(options.amr_logfile), "Specify logfile for AMRestore");
    option("ecid", into(options.ecid), "Device to perform operation on");
    option("detect-timeout", into(options.detect_timeout),
           "How many seconds to wait for the selected device to be detected");
    option("list-devices", into(options.list_devices), "List all detected Apple devices");
    option("device-info", into(options.device_info), "Output properties of specified Apple device");
    option("exit-recovery", into(options.exit_recovery),
           "Attempt to reboot a recovery device into booted mode");
    option("no-exit-recovery", into(options.no_exit_recovery),
           "Set a device to stay in recovery mode when it reboots");
    option("restore", into(options.restore), "Start a device restore with specified IPSW bundle");
    option("restore-timeout", into(options.restore_timeout),
           "How many seconds to wait for a restore to complete before aborting");
    option("erase", into(options.erase),
           "Use with --restore to force the device to be erased during the restore");
    option("restore-plist", into(options.restore_plist),
           "Start a device restore with options read from a plist file");
    option("enter-restore-mode", into(options.enter_restore_mode),
           "Attempt to put a recovery mode device into restore mode");
    option("output-pipe", into(options.output_pipe), "Send formatted output to a specific pipe");
    return description;
}

/// Stores into the options of `description`. Throws the library's exceptions.
void parse(const po::options_description& description, int argument_count,
           const char* const* arguments) {
    if (argument_count < 1) {
        throw std::length_error("not even the program's name on the command line");
    }
    std::vector<std::string> marked(arguments + 1, arguments + argument_count);
    for (std::string& argument : marked) {
        boost::replace_all(argument, percent, marked_percent);
    }
    po::variables_map values;
    po::store(po::command_line_parser(marked).options(description).run(), values);
    po::notify(values);
}

} // namespace

parse_result parse_arguments(int argument_count, const char* const* arguments) {
    start_options options;
    const po::options_description description = describe_options(options);
    cf_error_handle error;
    try {
        parse(description, argument_count, arguments);
    } catch (const std::length_error& exception) {
        error = error_of(tool_error::bad_command, without_marks(exception.what()));
    } catch (const std::exception& exception) {
        error = error_of(code_of(exception), without_marks(reason_of(exception)));
    }
    if (options.amr_logfile) {
        log_command_line(*options.amr_logfile, argument_count, arguments);
    }
    return {options, description, std::move(error)};
}

bool asks_for_help(int argument_count, const char* const* arguments) {
    start_options options;
    try {
        parse(describe_options(options), argument_count, arguments);
    } catch (const std::exception&) {
        return false;
    }
    return options.help;
}

} // namespace vandrel
