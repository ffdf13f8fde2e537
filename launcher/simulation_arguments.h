#pragma once

#include "simulator/mobile_device/simulation.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace vandrel {

/// A command line of vandrel-sim, taken apart:
///
///     vandrel-sim [--scenario FILE] [--journal FILE] [--bench FOLDER] [--speed N]
///                 [--fail-creation N] -- TOOL ARGUMENTS
struct simulation_arguments {
    /// None: the built-in scenario plays.
    std::optional<std::string> scenario_file;
    simulator::simulation_options options;
    /// The creation of a CoreFoundation object that fails, counted from 1; 0: none.
    std::int64_t failing_creation = 0;
    /// The tool's own command line: the program's name, the tool's arguments, and a null pointer
    /// that is not counted among them. Points into the command line that was taken apart.
    std::vector<const char*> tool_arguments;
};

/// A simulator option that cannot be used. The text is one line: which, what is wrong, what would
/// be right.
class simulation_arguments_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What stands before the first argument that is "--" is the simulator's, what follows the tool's;
/// without one, all is the tool's. Throws simulation_arguments_error.
simulation_arguments parse_simulation_arguments(int argument_count, const char* const* arguments);

} // namespace vandrel
