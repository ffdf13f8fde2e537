#pragma once

/// The command `report`.

#include "station/command_line.h"

#include <filesystem>
#include <optional>

namespace vandrel::station {

/// Makes the page of a run, and writes its path to standard output. Returns the exit status; throws
/// refusal.
int run_report(const station_arguments& arguments);

/// The folder of the newest run in this one, by the names that the station gives; nothing when
/// there is none.
std::optional<std::filesystem::path> newest_run(const std::filesystem::path& runs);

} // namespace vandrel::station
