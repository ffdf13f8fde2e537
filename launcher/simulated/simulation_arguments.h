#pragma once

#include "simulator/mobile_device/simulation.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace vandrel {

/// The parsed command line of vandrel-sim:
///
///     vandrel-sim [--scenario FILE] [--journal FILE] [--bench FOLDER] [--speed N]
///                 [--fail-creation N] -- TOOL ARGUMENTS
struct simulation_arguments {
    /// None: the built-in scenario is used.
    std::optional<std::string> scenario_file;
    simulator::simulation_options options;
    /// The creation of a CoreFoundation object that fails, counted from 1; 0: none.
    std::int64_t failing_creation = 0;
    /// The tool's own command line: the program's name, the tool's arguments, and, at the
    /// end, a null pointer, which is no argument. Points into the command line that was parsed.
    std::vector<const char*> tool_arguments;
};

/// An option of the simulator cannot be used. The text is one line, unless a value in it has line
/// feeds: the option, what is wrong and what would be right.
class simulation_arguments_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The arguments before the first "--" are the simulator's, those after it the tool's. Without a
/// "--", all are the tool's. Throws simulation_arguments_error.
simulation_arguments parse_simulation_arguments(int argument_count, const char* const* arguments);

} // namespace vandrel
