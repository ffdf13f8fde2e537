#pragma once

#include "platform/mobile_device.h"
#include "simulator/mobile_device/bench.h"
#include "simulator/mobile_device/journal.h"
#include "simulator/mobile_device/restorable_device.h"
#include "simulator/mobile_device/scenario.h"
#include "simulator/mobile_device/simulation.h"
#include "simulator/mobile_device/timeline.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace simulator {

/// A running scenario: its devices, its callbacks and its journal. The platform's functions use it,
/// from any thread.
class running_simulation {
public:
    /// Throws std::runtime_error with a sentence if the journal or the bench cannot be
    /// used.
    running_simulation(scenario played, const simulation_options& options);
    running_simulation(const running_simulation&) = delete;
    running_simulation& operator=(const running_simulation&) = delete;
    /// `halt` was called before.
    ~running_simulation() = default;

    const scenario& played() const { return played_; }
    _AMRestorableDevice* device_at(std::size_t position) const;

    /// Writes a call into the journal, if there is one.
    void record(const char* call, const std::string* device = nullptr,
                std::initializer_list<argument> arguments = {});

    /// Plays the scenario's events, or the changes of the bench, from now on. Returns the number of
    /// the registration.
    std::int32_t add_registration(AMRestorableDeviceNotificationCallback callback, void* context);
    /// Stops the timed events of a registration. Returns when the scenario says. False if there is
    /// no registration of that number.
    bool cancel_registration(std::int32_t number);
    /// Plays the events that happen inside calls of that function, from the caller's thread.
    /// Returns when the callbacks have returned.
    void play_during(const std::string& call);
    /// Plays the reports of the device's restore from now on, and retains the device until the last
    /// one. Returns the result of the call, when the scenario says. If another process of the bench
    /// restores the device, returns 1 at once and plays no reports.
    std::int32_t restore(_AMRestorableDevice& device, AMRestorableDeviceRestoreCallback callback,
                         void* context);

    /// Returns when no callback is running and none will start. Not to be called from a callback,
    /// nor while another thread calls the platform.
    void halt();

private:
    using event_handle = owned<_AMRestorableDevice>;

    struct played_event {
        device_event about;
        /// The callback's argument; may be null.
        event_handle device;
    };

    /// A callback for events.
    struct listener {
        AMRestorableDeviceNotificationCallback callback = nullptr;
        void* context = nullptr;
    };

    struct registration {
        listener recipient;
        std::unique_ptr<timeline> events;
    };

    static void notify(const played_event& event, const listener& recipient);
    /// Plays the event at the position `next`, if it is due and its file exists, and then advances
    /// `next`. Returns when to call again.
    timeline::next_time play_next_event(timeline::clock::time_point start, std::size_t& next,
                                        const listener& recipient);
    /// Waits for `seconds` of the scenario.
    void pass(double seconds) const;
    double seconds_since(timeline::clock::time_point time) const;
    timeline::clock::time_point seconds_from_now(double seconds) const;

    std::unique_ptr<timeline> play_events_to(const listener& recipient);

    /// The attached devices of a bench, by position.
    using attached_handles = std::map<std::size_t, _AMRestorableDevice*>;
    /// Sends the events that lead from `attached` to what the bench has now, and updates
    /// `attached`. Returns when to look again.
    timeline::next_time play_bench(attached_handles& attached, const listener& recipient);
    attached_handles handles_on_bench();
    /// Which devices the events of the scenario have connected by now.
    std::vector<bool> plugged_in() const;
    /// The handle of the device at `position`; null if it is away, or restored and not back.
    _AMRestorableDevice* handle_on_bench(std::size_t position, const bench::history& known) const;

    /// The plan of the restore that starts now; null if another process restores the device.
    const restore_plan* begin_restore(const device_description& device);
    void report(_AMRestorableDevice& device, const restore_plan& plan, std::size_t position,
                AMRestorableDeviceRestoreCallback callback, void* context);

    /// Connects every device if the scenario leaves its events out. Gives each event its handle,
    /// and sorts the timed ones.
    void prepare_events();

    scenario played_;
    const double speed_;
    std::vector<owned<_AMRestorableDevice>> devices_;
    /// In the order of their times. Events of one time keep their order.
    std::vector<played_event> timed_events_;
    std::vector<played_event> events_during_calls_;
    /// On a bench: the handle of each device after a restore, in Recovery mode.
    std::vector<owned<_AMRestorableDevice>> returned_devices_;
    std::unique_ptr<journal> journal_;
    std::unique_ptr<bench> bench_;

    std::mutex mutex_;
    bool halted_ = false;
    std::int32_t last_registration_ = 0;
    /// How many restores of each device have started, without a bench.
    std::map<std::string, std::int64_t> begun_restores_;
    std::map<std::int32_t, registration> registrations_;
    std::vector<std::unique_ptr<timeline>> restores_;
};

/// The running simulation. The end of the process does not destroy it or its threads; vandrel-sim
/// calls stop before.
running_simulation& running();

} // namespace simulator
