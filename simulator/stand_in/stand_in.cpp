/// Apple's libraries for tests: the simulator under the names of CoreFoundation and
/// MobileDevice, for the product to find and load. Environment variables replace the options of
/// vandrel-sim, because the product has no options for a simulation:
///
///     VANDREL_SCENARIO   a scenario file; the default is the built-in scenario
///     VANDREL_JOURNAL    where the calls are recorded
///     VANDREL_BENCH, VANDREL_SPEED, VANDREL_FAIL_CREATION
///                        as vandrel-sim's options of these names

#include "simulator/core_foundation/accounting.h"
#include "simulator/mobile_device/built_in_scenario.h"
#include "simulator/mobile_device/plist_reader.h"
#include "simulator/mobile_device/scenario_file.h"
#include "simulator/mobile_device/simulation.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <string>

namespace {

std::optional<std::string> setting(const char* name) {
    const char* const text = std::getenv(name);
    return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
}

void start_simulation() {
    const auto scenario = setting("VANDREL_SCENARIO");
    simulator::simulation_options options;
    options.journal = setting("VANDREL_JOURNAL");
    options.bench = setting("VANDREL_BENCH");
    options.speed = std::stod(setting("VANDREL_SPEED").value_or("1"));
    simulator::start(
        scenario ? simulator::read_scenario(*scenario) : simulator::built_in_scenario(), options);
    simulator::fail_creation(std::stoll(setting("VANDREL_FAIL_CREATION").value_or("0")));
}

/// Starts the simulation when the library is loaded, before any of its functions can be called.
const bool is_started = [] {
    try {
        start_simulation();
        return true;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "simulated libraries: %s\n",
                     simulator::one_line(failure.what()).c_str());
        std::_Exit(64);
    }
}();

} // namespace
