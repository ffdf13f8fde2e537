#pragma once

/// The command `report`.

#include "station/command_line.h"

#include <filesystem>
#include <optional>

namespace vandrel::station {

/// Makes the page of a run, and writes the page's path to standard output. Returns the exit status.
/// Throws refusal, and std::runtime_error when no run folder is given and there is no place for
/// runs.
int run_report(const station_arguments& arguments);

/// The newest of the run folders in `runs`, by the names that the station gives them; nothing when
/// there is none. A run folder is one with a summary.json.
std::optional<std::filesystem::path> newest_run(const std::filesystem::path& runs);

} // namespace vandrel::station
