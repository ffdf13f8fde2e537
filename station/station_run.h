#pragma once

/// The commands `restore` and `recover`, with the means of this host.

#include "station/preparation.h"

namespace vandrel::station {

/// Returns the exit status; throws refusal.
int run_devices(const run_settings& settings);

} // namespace vandrel::station
