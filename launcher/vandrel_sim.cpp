#include "driver/entry_point.h"
#include "launcher/launch.h"
#include "launcher/simulation_arguments.h"
#include "simulator/accounting.h"
#include "simulator/built_in_scenario.h"
#include "simulator/scenario_file.h"
#include "simulator/simulation.h"

#include <cstdio>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace vandrel {

namespace {

/// Of a simulation that cannot be played; the tool's own results are below.
constexpr int unusable_simulation = 64;

void start_simulation(const simulation_arguments& arguments) {
    auto scenario = arguments.scenario_file ? simulator::read_scenario(*arguments.scenario_file)
                                            : simulator::built_in_scenario();
    try {
        simulator::start(std::move(scenario), arguments.options);
    } catch (const std::system_error& error) {
        throw std::runtime_error(*arguments.options.journal + ": file: is unwritable (" +
                                 error.code().message() +
                                 "); should be a file that can be written");
    }
    simulator::fail_creation(arguments.failing_creation);
}

} // namespace

int launch(int argument_count, const char* const* arguments) {
    simulation_arguments parsed;
    try {
        parsed = parse_simulation_arguments(argument_count, arguments);
        start_simulation(parsed);
    } catch (const std::runtime_error& error) {
        std::fprintf(stderr, "vandrel-sim: %s\n", error.what());
        return unusable_simulation;
    }
    return entry_point(static_cast<int>(parsed.tool_arguments.size()) - 1,
                       parsed.tool_arguments.data());
}

} // namespace vandrel
