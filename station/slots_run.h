#pragma once

/// The command `slots`.

#include "station/command_line.h"
#include "station/device.h"
#include "station/device_lister.h"

#include <string>
#include <vector>

namespace vandrel::station {

/// Writes which device is in which slot, or learns the slots. Returns the exit status. Throws
/// refusal, and another std::exception when there can be no scratch folder.
int run_slots(const station_arguments& arguments);

/// Each slot with its devices, in the order of the slots' names; also the slots without a device.
/// Below them, the devices that are in no slot.
std::string slot_table(const slot_names& slots, const std::vector<listed_device>& devices);

} // namespace vandrel::station
