#pragma once

/// The command `bundles`.

#include "station/bundle_folder.h"
#include "station/command_line.h"

#include <string>
#include <vector>

namespace vandrel::station {

/// Writes what is in the folder to standard output. Returns the exit status; throws refusal.
int run_bundles(const station_arguments& arguments);

/// Those of the same models together, the newest first, and below them what is wrong with the
/// others.
std::string bundle_table(const std::vector<bundle_file>& files);

} // namespace vandrel::station
