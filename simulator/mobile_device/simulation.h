#pragma once

/// The front of the simulated platform: what plays. The platform's functions act on the one
/// simulation that runs. Until the first start, and after stop, that is an empty one: no device, no
/// journal.
///
/// What a simulation holds is counted like every other object (accounting.h), and gone after stop.

#include "platform/mobile_device.h"
#include "simulator/mobile_device/scenario.h"

#include <optional>
#include <string>

namespace simulator {

struct simulation_options {
    /// Where the calls are recorded, in UTF-8; none: nowhere.
    std::optional<std::string> journal;
    /// How many times as fast all times pass; above 0.
    double speed = 1;
    /// The folder, in UTF-8, of the bench whose devices several processes share; none: the devices
    /// are the process's own. The journal is then shared too.
    std::optional<std::string> bench = std::nullopt;
};

/// Plays `played` from now on, in place of what was running, which is stopped first. Throws
/// std::system_error when the journal cannot be written, and std::runtime_error, whose text is one
/// line, when the bench cannot be used; the empty simulation runs then.
void start(scenario played, const simulation_options& options = {});

/// Returns when no callback is running and none will come any more. Devices that others still hold
/// stay usable. Not to be called from a callback, nor while another thread calls the platform.
void stop();

/// The device at `position` among those of the running scenario. Borrowed.
_AMRestorableDevice* device_at(std::size_t position);

/// A device that is attached nowhere, for calling the tool's callbacks directly. The caller owns
/// the one reference.
_AMRestorableDevice* create_device(device_description description);

} // namespace simulator
