#include "simulator/mobile_device/simulation.h"

#include "simulator/mobile_device/running_simulation.h"

#include <atomic>
#include <utility>

namespace simulator {

namespace {

/// The simulation that runs before the first start and after stop. Its objects are not counted.
std::unique_ptr<running_simulation> make_empty() {
    const unaccounted_scope uncounted;
    return std::make_unique<running_simulation>(scenario{}, simulation_options{});
}

std::atomic<running_simulation*>& current() {
    static auto& simulation = *new std::atomic<running_simulation*>(make_empty().release());
    return simulation;
}

void replace(std::unique_ptr<running_simulation> next) {
    // Running callbacks may call the platform, so the last simulation stays until they return.
    running().halt();
    const std::unique_ptr<running_simulation> last(current().exchange(next.release()));
}

} // namespace

running_simulation& running() {
    return *current();
}

void start(scenario played, const simulation_options& options) {
    stop();
    replace(std::make_unique<running_simulation>(std::move(played), options));
}

void stop() {
    replace(make_empty());
}

_AMRestorableDevice* device_at(std::size_t position) {
    return running().device_at(position);
}

_AMRestorableDevice* create_device(device_description description) {
    return create<_AMRestorableDevice>(
        std::make_shared<const device_description>(std::move(description)));
}

} // namespace simulator
