#pragma once

/// What each command does, with the means of this host.

#include "station/preparation.h"

namespace vandrel::station {

/// Both return the exit status, and throw refusal.
int run_list(const station_arguments& arguments);
int run_devices(const run_settings& settings);

} // namespace vandrel::station
