#pragma once

#include "platform/mobile_device.h"
#include "simulator/mobile_device/journal.h"
#include "simulator/mobile_device/restorable_device.h"
#include "simulator/mobile_device/scenario.h"
#include "simulator/mobile_device/simulation.h"
#include "simulator/mobile_device/timeline.h"

#include <cstddef>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace simulator {

/// A scenario at play: its devices, the callbacks under way and the journal. For the platform's
/// functions, which may call from any thread.
class running_simulation {
public:
    /// Throws std::system_error when the journal cannot be written.
    running_simulation(scenario played, const simulation_options& options);
    running_simulation(const running_simulation&) = delete;
    running_simulation& operator=(const running_simulation&) = delete;
    /// Halted before.
    ~running_simulation() = default;

    const scenario& played() const { return played_; }
    _AMRestorableDevice* device_at(std::size_t position) const;

    /// Writes a call into the journal, if there is one.
    void record(const char* call, const std::string* device = nullptr,
                std::initializer_list<argument> arguments = {});

    /// Plays the scenario's events from now on. Returns the number of the registration.
    std::int32_t add_registration(AMRestorableDeviceNotificationCallback callback, void* context);
    /// No further event is told to a registration. False when there is none of that number.
    bool cancel_registration(std::int32_t registration);
    /// Plays the reports of the device's restore from now on. Keeps the device until the last.
    void add_restore(_AMRestorableDevice& device, AMRestorableDeviceRestoreCallback callback,
                     void* context);

    /// Returns when no callback is running and none will come any more.
    void halt();

private:
    /// In the order of their times. Events of one time keep their order.
    std::vector<device_event> sorted_events() const;

    scenario played_;
    const double speed_;
    std::vector<owned<_AMRestorableDevice>> devices_;
    std::unique_ptr<journal> journal_;

    std::mutex mutex_;
    bool halted_ = false;
    std::int32_t last_registration_ = 0;
    std::map<std::int32_t, std::unique_ptr<timeline>> registrations_;
    std::vector<std::unique_ptr<timeline>> restores_;
};

/// The one that runs. Lives on, as its threads do, when the process ends through exit.
running_simulation& running();

} // namespace simulator
