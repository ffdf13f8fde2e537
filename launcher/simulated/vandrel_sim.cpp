#include "driver/entry_point.h"
#include "launcher/launch.h"
#include "launcher/simulated/simulation_arguments.h"
#include "simulator/core_foundation/accounting.h"
#include "simulator/mobile_device/built_in_scenario.h"
#include "simulator/mobile_device/plist_reader.h"
#include "simulator/mobile_device/scenario_file.h"
#include "simulator/mobile_device/simulation.h"

#include <boost/filesystem/operations.hpp>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace vandrel {

namespace {

// Exit statuses of the simulator. The tool's are lower.
constexpr int unusable_simulation = 64;
constexpr int leaking_tool = 65;

/// The tool needs this folder, and its own message does not name the variable.
void check_temporary_folder() {
    boost::system::error_code error;
    boost::filesystem::temp_directory_path(error);
    if (!error) {
        return;
    }
    // On POSIX hosts, the first of these variables that is set names the folder, even if its value
    // is empty. On Windows, there always is a folder.
    for (const char* const name : {"TMPDIR", "TMP", "TEMP", "TEMPDIR"}) {
        if (const char* const value = std::getenv(name)) {
            throw std::runtime_error(std::string(name) + ": is \"" + value +
                                     "\"; should be the path of a folder");
        }
    }
    throw std::runtime_error("TMPDIR: is not set, and there is no /tmp; should be the path of a "
                             "folder");
}

void start_simulation(const simulation_arguments& arguments) {
    simulator::start(arguments.scenario_file ? simulator::read_scenario(*arguments.scenario_file)
                                             : simulator::built_in_scenario(),
                     arguments.options);
    simulator::fail_creation(arguments.failing_creation);
}

/// Called by exit, because the tool ends the process itself. Prints which objects of Apple's
/// platform the tool has not released, which constants it has not released as often as it retained
/// them, and whether the run ended before the creation that should have failed. An object that was
/// not released is a defect of the tool, and so is such a constant.
void account_for_objects() {
    simulator::stop();
    if (const auto left = simulator::creations_until_failure(); left != 0) {
        std::fprintf(stderr, "vandrel-sim: --fail-creation: the run created %lld objects too few\n",
                     static_cast<long long>(left));
    }
    const auto leaked = simulator::live_objects();
    for (const auto& [type, count] : leaked) {
        std::fprintf(stderr, "vandrel-sim: leaked objects of type %s: %lld\n", type.c_str(),
                     static_cast<long long>(count));
    }
    const auto unbalanced = simulator::unbalanced_constants();
    for (const auto& [constant, count] : unbalanced) {
        std::fprintf(stderr, "vandrel-sim: %s: %lld more %s\n", constant.c_str(),
                     static_cast<long long>(std::abs(count)),
                     count > 0 ? "retained than released" : "released than retained");
    }
    if (!leaked.empty() || !unbalanced.empty()) {
        std::fflush(stderr);
        std::_Exit(leaking_tool);
    }
}

} // namespace

int launch(int argument_count, const char* const* arguments) {
    simulation_arguments parsed;
    try {
        parsed = parse_simulation_arguments(argument_count, arguments);
        check_temporary_folder();
        start_simulation(parsed);
        std::atexit(account_for_objects);
    } catch (const std::runtime_error& error) {
        std::fprintf(stderr, "vandrel-sim: %s\n", simulator::one_line(error.what()).c_str());
        return unusable_simulation;
    }
    return entry_point(static_cast<int>(parsed.tool_arguments.size()) - 1,
                       parsed.tool_arguments.data());
}

} // namespace vandrel
