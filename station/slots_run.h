#pragma once

/// The command `slots`.

#include "station/command_line.h"
#include "station/device.h"
#include "station/device_lister.h"

#include <string>
#include <vector>

namespace vandrel::station {

/// Writes which device is in which slot, or learns the slots. Returns the exit status; throws
/// refusal.
int run_slots(const station_arguments& arguments);

/// Each slot with its device, those without one too, in the order of their names; below them the
/// devices that are in none.
std::string slot_table(const slot_names& slots, const std::vector<listed_device>& devices);

} // namespace vandrel::station
