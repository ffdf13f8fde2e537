#include "driver/entry_point.h"
#include "launcher/launch.h"
#include "launcher/simulated/simulation_arguments.h"
#include "simulator/core_foundation/accounting.h"
#include "simulator/mobile_device/built_in_scenario.h"
#include "simulator/mobile_device/scenario_file.h"
#include "simulator/mobile_device/simulation.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace vandrel {

namespace {

// Exit statuses of the simulator. The tool's are lower.
constexpr int unusable_simulation = 64;
constexpr int leaking_tool = 65;

void start_simulation(const simulation_arguments& arguments) {
    auto scenario = arguments.scenario_file ? simulator::read_scenario(*arguments.scenario_file)
                                            : simulator::built_in_scenario();
    try {
        simulator::start(std::move(scenario), arguments.options);
    } catch (const std::system_error& error) {
        throw std::runtime_error(*arguments.options.journal + ": cannot write the journal (" +
                                 error.code().message() + ")");
    }
    simulator::fail_creation(arguments.failing_creation);
}

/// Called by exit, because the tool ends the process itself. Prints which objects of Apple's
/// platform the tool has not released, and whether the run ended before the creation that should
/// have failed. An object that was not released is a defect of the tool.
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
        start_simulation(parsed);
        std::atexit(account_for_objects);
    } catch (const std::runtime_error& error) {
        std::fprintf(stderr, "vandrel-sim: %s\n", error.what());
        return unusable_simulation;
    }
    return entry_point(static_cast<int>(parsed.tool_arguments.size()) - 1,
                       parsed.tool_arguments.data());
}

} // namespace vandrel
