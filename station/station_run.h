#pragma once

/// The commands `restore` and `recover`, with the means of this host.

#include "station/preparation.h"

namespace vandrel::station {

/// Returns the exit status. Throws refusal, and another std::exception when the station cannot go
/// on before it has begun a tool.
int run_devices(const run_settings& settings);

} // namespace vandrel::station
