#pragma once

/// The command `list`.

#include "station/command_line.h"

namespace vandrel::station {

/// Writes the list to standard output. Returns the exit status; throws refusal.
int run_list(const station_arguments& arguments);

} // namespace vandrel::station
