/// Apple's libraries as tests have them: the simulator under the names of CoreFoundation and
/// MobileDevice, for the product to find and load. What plays stands in the environment, so that
/// nothing in the product knows of it:
///
///     VANDREL_SCENARIO   a scenario file; without it the built-in scenario plays
///     VANDREL_JOURNAL    where the calls are recorded

#include "simulator/built_in_scenario.h"
#include "simulator/scenario_file.h"
#include "simulator/simulation.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace {

/// Plays when the library is loaded, before any of its functions can be called.
const bool is_playing = [] {
    try {
        const char* const scenario = std::getenv("VANDREL_SCENARIO");
        const char* const journal = std::getenv("VANDREL_JOURNAL");
        simulator::simulation_options options;
        if (journal != nullptr) {
            options.journal = journal;
        }
        simulator::start(scenario != nullptr ? simulator::read_scenario(scenario)
                                             : simulator::built_in_scenario(),
                         options);
        return true;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "simulated libraries: %s\n", failure.what());
        std::_Exit(64);
    }
}();

} // namespace
