#pragma once

#include "simulator/mobile_device/scenario.h"

namespace simulator {

/// The scenario that plays when no other is given: devices in every state, one that arrives after
/// four seconds, and restores that take about four. New.
scenario built_in_scenario();

} // namespace simulator
