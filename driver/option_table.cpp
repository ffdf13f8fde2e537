#include "driver/option_table.h"

#include "driver/percent_marks.h"

#include <boost/program_options.hpp>

#include <algorithm>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace vandrel {

namespace {

namespace po = boost::program_options;

using shared_options = std::shared_ptr<start_options>;

/// A switch that stores directly into its field. The options with a value keep `options` alive.
auto into(const shared_options& options, bool start_options::*field) {
    return po::bool_switch(&((*options).*field));
}

/// A value that stores into its optional field.
template<class Value>
auto into(const shared_options& options, std::optional<Value> start_options::*field) {
    return po::value<Value>()->notifier(
        [options, field](const Value& value) { (*options).*field = value; });
}

auto into(const shared_options& options, std::optional<std::string> start_options::*field) {
    return po::value<std::string>()->notifier(
        [options, field](const std::string& value) { (*options).*field = without_marks(value); });
}

} // namespace

po::options_description option_table(const shared_options& options) {
    po::options_description table("Program options");
    auto option = table.add_options();
    option("debug", into(options, &start_options::debug), "Enable debugging output");
    option("debug-dump", into(options, &start_options::debug_dump),
           "Dump mobiledevice implementations (debugging)");
    option("help", into(options, &start_options::help), "Print this description");
    option("no-cleanup", into(options, &start_options::no_cleanup),
           "Disable auto temp file cleanup on exit");
    option("amr-logfile", into(options, &start_options::amr_logfile),
           "Specify logfile for AMRestore");
    option("ecid", into(options, &start_options::ecid), "Device to perform operation on");
    option("detect-timeout", into(options, &start_options::detect_timeout),
           "How many seconds to wait for the selected device to be detected");
    option("list-devices", into(options, &start_options::list_devices),
           "List all detected Apple devices");
    option("device-info", into(options, &start_options::device_info),
           "Output properties of specified Apple device");
    option("exit-recovery", into(options, &start_options::exit_recovery),
           "Attempt to reboot a recovery device into booted mode");
    option("no-exit-recovery", into(options, &start_options::no_exit_recovery),
           "Set a device to stay in recovery mode when it reboots");
    option("restore", into(options, &start_options::restore),
           "Start a device restore with specified IPSW bundle");
    option("restore-timeout", into(options, &start_options::restore_timeout),
           "How many seconds to wait for a restore to complete before aborting");
    option("erase", into(options, &start_options::erase),
           "Use with --restore to force the device to be erased during the restore");
    option("restore-plist", into(options, &start_options::restore_plist),
           "Start a device restore with options read from a plist file");
    option("enter-restore-mode", into(options, &start_options::enter_restore_mode),
           "Attempt to put a recovery mode device into restore mode");
    option("output-pipe", into(options, &start_options::output_pipe),
           "Send formatted output to a specific pipe");
    // The library loses a name, without an error, if there is no memory for it.
    const auto has_no_name = [](const auto& described) { return described->long_name().empty(); };
    if (std::ranges::any_of(table.options(), has_no_name)) {
        throw std::bad_alloc();
    }
    return table;
}

void parse_options(const po::options_description& table, int argument_count,
                   const char* const* arguments) {
    if (argument_count < 1) {
        throw std::length_error("not even the program's name on the command line");
    }
    std::vector<std::string> marked;
    for (int i = 1; i < argument_count; ++i) {
        marked.push_back(with_marks(arguments[i]));
    }
    po::variables_map values;
    po::store(po::command_line_parser(marked).options(table).run(), values);
    po::notify(values);
}

} // namespace vandrel
