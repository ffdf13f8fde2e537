#include "simulator/mobile_device/simulation.h"

#include "simulator/mobile_device/running_simulation.h"

#include <algorithm>
#include <atomic>
#include <utility>

namespace simulator {

running_simulation::running_simulation(scenario played, const simulation_options& options)
    : played_(std::move(played)), speed_(options.speed) {
    if (options.journal) {
        journal_ = std::make_unique<journal>(*options.journal);
    }
    for (device_description& description : played_.devices) {
        devices_.emplace_back(create_device(std::move(description)));
    }
}

_AMRestorableDevice* running_simulation::device_at(std::size_t position) const {
    return devices_.at(position).get();
}

void running_simulation::record(const char* call, const std::string* device,
                                std::initializer_list<argument> arguments) {
    if (journal_) {
        journal_->record(call, device, arguments);
    }
}

std::vector<device_event> running_simulation::sorted_events() const {
    std::vector<device_event> events;
    if (played_.events) {
        events = *played_.events;
    } else {
        events.reserve(devices_.size());
        for (std::size_t i = 0; i < devices_.size(); ++i) {
            events.push_back({0, i, 0});
        }
    }
    std::ranges::stable_sort(events, {}, &device_event::at);
    return events;
}

std::int32_t running_simulation::add_registration(AMRestorableDeviceNotificationCallback callback,
                                                  void* context) {
    const std::vector<device_event> events = sorted_events();
    std::vector<double> times;
    times.reserve(events.size());
    for (const device_event& event : events) {
        times.push_back(event.at);
    }
    const std::lock_guard lock(mutex_);
    ++last_registration_;
    if (!halted_) {
        registrations_[last_registration_] = std::make_unique<timeline>(
            timeline::clock::now(), std::move(times), speed_,
            [this, events, callback, context](std::size_t i) {
                const device_event& event = events[i];
                callback(event.device ? device_at(*event.device) : nullptr, event.type, context);
            });
    }
    return last_registration_;
}

bool running_simulation::cancel_registration(std::int32_t registration) {
    const std::lock_guard lock(mutex_);
    const auto found = registrations_.find(registration);
    if (found == registrations_.end()) {
        return false;
    }
    found->second->cancel();
    return true;
}

void running_simulation::add_restore(_AMRestorableDevice& device,
                                     AMRestorableDeviceRestoreCallback callback, void* context) {
    const std::vector<restore_report>& reports = device.description.restore.reports;
    std::vector<double> times;
    times.reserve(reports.size());
    double time = 0;
    for (const restore_report& report : reports) {
        time += report.after;
        times.push_back(time);
    }
    const std::shared_ptr<_AMRestorableDevice> kept(retained(&device));
    const std::lock_guard lock(mutex_);
    if (!halted_) {
        restores_.push_back(std::make_unique<timeline>(
            timeline::clock::now(), std::move(times), speed_,
            [kept, &reports, callback, context](std::size_t i) {
                const CFTypeRef report = reports[i].report.get();
                callback(kept.get(), static_cast<CFDictionaryRef>(report), context);
            }));
    }
}

void running_simulation::halt() {
    std::map<std::int32_t, std::unique_ptr<timeline>> registrations;
    std::vector<std::unique_ptr<timeline>> restores;
    {
        const std::lock_guard lock(mutex_);
        halted_ = true;
        registrations.swap(registrations_);
        restores.swap(restores_);
    }
    // Their destructors wait, without the lock, which a running callback may want.
}

namespace {

/// What runs when nothing was started. Its objects are nobody's to count.
std::unique_ptr<running_simulation> make_empty() {
    const unaccounted_scope uncounted;
    return std::make_unique<running_simulation>(scenario{}, simulation_options{});
}

std::atomic<running_simulation*>& current() {
    static auto& simulation = *new std::atomic<running_simulation*>(make_empty().release());
    return simulation;
}

void replace(std::unique_ptr<running_simulation> next) {
    // Callbacks that are running still call the platform, so it stays in place until they are done.
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
    return create<_AMRestorableDevice>(std::move(description));
}

} // namespace simulator
