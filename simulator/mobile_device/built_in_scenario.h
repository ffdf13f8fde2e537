#pragma once

#include "simulator/mobile_device/scenario.h"

namespace simulator {

/// The scenario that plays if no other is given: devices in every state, one that connects after
/// four seconds, and restores that take about four. Returns a new object.
scenario built_in_scenario();

} // namespace simulator
