#pragma once

/// Starts and stops the simulated platform. The platform's functions act on the running simulation.
/// Before the first start, and after stop, an empty one runs, without devices or a journal.
///
/// The objects of a simulation are counted like all others (accounting.h), and released by stop.

#include "platform/mobile_device.h"
#include "simulator/mobile_device/scenario.h"

#include <cstddef>
#include <optional>
#include <string>

namespace simulator {

struct simulation_options {
    /// The file for the journal, in UTF-8; none: calls are not recorded.
    std::optional<std::string> journal;
    /// All times are divided by this number, which is above 0.
    double speed = 1;
    /// The folder of a bench, in UTF-8: all processes that use it share their devices, and the
    /// journal is appended to. None: the process has its devices for itself.
    std::optional<std::string> bench = std::nullopt;
};

/// Stops the running simulation and starts `played`. Throws std::runtime_error with a sentence
/// if the journal or the bench cannot be used. The empty simulation then runs.
void start(scenario played, const simulation_options& options = {});

/// Returns when no callback is running and none will start. Retained devices can still be used. Not
/// to be called from a callback, nor while another thread calls the platform.
void stop();

/// The device at this position in the running scenario. Borrowed. Throws std::out_of_range.
_AMRestorableDevice* device_at(std::size_t position);

/// A device that is not attached. The caller owns it. Null when its creation was set to fail
/// (accounting.h).
_AMRestorableDevice* create_device(device_description description);

} // namespace simulator
