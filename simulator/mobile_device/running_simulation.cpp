#include "simulator/mobile_device/running_simulation.h"

#include "simulator/core_foundation/object.h"
#include "simulator/mobile_device/cf_values.h"
#include "simulator/mobile_device/utf8_path.h"

#include <algorithm>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace simulator {

namespace {

constexpr std::uint32_t connected = 0;
constexpr std::uint32_t disconnected = 1;

bool is_there(const std::string& file) {
    std::error_code ignored;
    return std::filesystem::exists(utf8_path(file), ignored);
}

/// An integer of a report; 0 if it is missing or not a number.
std::int64_t number_of(CFDictionaryRef report, const char* key) {
    const auto number = cf_cast<CFNumberRef>(CFDictionaryGetValue(report, cf_string(key).get()),
                                             CFNumberGetTypeID());
    std::int64_t result = 0;
    if (number != nullptr) {
        CFNumberGetValue(number, kCFNumberSInt64Type, &result);
    }
    return result;
}

/// Whether a report means that the device is restored.
bool is_success(CFTypeRef value) {
    const unaccounted_scope scope;
    const auto report = cf_cast<CFDictionaryRef>(value, CFDictionaryGetTypeID());
    if (report == nullptr || number_of(report, "Progress") != 100 ||
        number_of(report, "Operation") != 0 || number_of(report, "Error") != 0) {
        return false;
    }
    const CFTypeRef status = CFDictionaryGetValue(report, CFSTR("Status"));
    return status != nullptr && !CFEqual(status, CFSTR("Failed"));
}

const restore_plan& plan_of(const device_description& device, std::int64_t restores_before) {
    const auto& later = device.later_restores;
    if (restores_before <= 0 || later.empty()) {
        return device.restore;
    }
    const auto last = static_cast<std::int64_t>(later.size()) - 1;
    return later[static_cast<std::size_t>(std::min(restores_before - 1, last))];
}

} // namespace

running_simulation::running_simulation(scenario played, const simulation_options& options)
    : played_(std::move(played)), speed_(options.speed) {
    constexpr std::uint32_t recovery = 2;
    if (options.bench) {
        bench_ = std::make_unique<bench>(*options.bench);
    }
    if (options.journal) {
        using enum journal::old_entries;
        journal_ = std::make_unique<journal>(*options.journal, bench_ ? keep : remove);
    }
    for (device_description& description : played_.devices) {
        devices_.emplace_back(create_device(std::move(description)));
        if (bench_) {
            returned_devices_.emplace_back(
                create<_AMRestorableDevice>(devices_.back()->shared, recovery));
        }
    }
    prepare_events();
}

void running_simulation::prepare_events() {
    if (!played_.events) {
        played_.events.emplace();
        for (std::size_t i = 0; i < devices_.size(); ++i) {
            played_.events->push_back({0, i, 0});
        }
    }
    for (const device_event& event : *played_.events) {
        event_handle device;
        if (event.device) {
            _AMRestorableDevice* const usual = device_at(*event.device);
            device = event.under_new_handle
                         ? event_handle(create<_AMRestorableDevice>(usual->shared))
                         : retained(usual);
        }
        auto& events = event.during ? events_during_calls_ : timed_events_;
        events.push_back({event, std::move(device)});
    }
    std::ranges::stable_sort(timed_events_, {},
                             [](const played_event& event) { return event.about.at; });
}

_AMRestorableDevice* running_simulation::device_at(std::size_t position) const {
    return devices_.at(position).get();
}

void running_simulation::record(const char* call, const std::string* device,
                                std::initializer_list<argument> arguments) {
    if (!journal_) {
        return;
    }
    const auto write = [&] { journal_->record(call, device, arguments); };
    if (bench_) {
        bench_->alone(write);
    } else {
        write();
    }
}

timeline::clock::time_point running_simulation::seconds_from_now(double seconds) const {
    return timeline::after(timeline::clock::now(), seconds / speed_);
}

double running_simulation::seconds_since(timeline::clock::time_point time) const {
    return std::chrono::duration<double>(timeline::clock::now() - time).count() * speed_;
}

void running_simulation::pass(double seconds) const {
    std::this_thread::sleep_until(seconds_from_now(seconds));
}

void running_simulation::notify(const played_event& event, const listener& recipient) {
    // No std::latch: its waiters are kept in a global object that is destroyed when the process
    // ends. On Windows, the destructor never returns if a thread used the object at that moment.
    std::mutex mutex;
    std::condition_variable has_started;
    std::size_t missing = event.about.threads;
    const auto call = [&] {
        {
            std::unique_lock lock(mutex);
            if (--missing == 0) {
                has_started.notify_all();
            }
            has_started.wait(lock, [&] { return missing == 0; });
        }
        recipient.callback(event.device.get(), event.about.type, recipient.context);
    };
    std::vector<std::thread> others;
    for (std::size_t i = 1; i < event.about.threads; ++i) {
        others.emplace_back(call);
    }
    call();
    for (std::thread& other : others) {
        other.join();
    }
}

timeline::next_time running_simulation::play_next_event(timeline::clock::time_point start,
                                                        std::size_t& next,
                                                        const listener& recipient) {
    constexpr auto between_looks = std::chrono::milliseconds(10);
    if (next == timed_events_.size()) {
        return std::nullopt;
    }
    const played_event& event = timed_events_[next];
    const auto due = timeline::after(start, event.about.at / speed_);
    const auto now = timeline::clock::now();
    if (now < due) {
        return due;
    }
    if (event.about.awaited_file && !is_there(*event.about.awaited_file)) {
        return now + between_looks;
    }
    notify(event, recipient);
    ++next;
    return now;
}

std::vector<bool> running_simulation::plugged_in() const {
    const double now = seconds_since(bench_->start());
    std::vector<bool> result(devices_.size());
    for (const played_event& event : timed_events_) {
        const auto& file = event.about.awaited_file;
        if (event.about.at > now || (file && !is_there(*file))) {
            break;
        }
        if (event.about.device) {
            result[*event.about.device] = event.about.type == connected;
        }
    }
    return result;
}

_AMRestorableDevice* running_simulation::handle_on_bench(std::size_t position,
                                                         const bench::history& known) const {
    if (known.restored) {
        const bool has_returned = known.returns && *known.returns <= timeline::clock::now();
        if (!has_returned) {
            return nullptr;
        }
    }
    if (known.held_by_other_since) {
        const double time = seconds_since(*known.held_by_other_since);
        const restore_plan& plan = plan_of(device_at(position)->description, known.restores - 1);
        const auto covers = [time](const away_period& period) {
            return period.from <= time && time < period.until;
        };
        if (std::ranges::any_of(plan.away, covers)) {
            return nullptr;
        }
    }
    return known.restored ? returned_devices_[position].get() : device_at(position);
}

running_simulation::attached_handles running_simulation::handles_on_bench() {
    auto histories = bench_->devices();
    const std::vector<bool> plugged = plugged_in();
    attached_handles result;
    for (std::size_t i = 0; i < devices_.size(); ++i) {
        auto* const handle =
            plugged[i] ? handle_on_bench(i, histories[device_at(i)->description.ecid]) : nullptr;
        if (handle != nullptr) {
            result[i] = handle;
        }
    }
    return result;
}

timeline::next_time running_simulation::play_bench(attached_handles& attached,
                                                   const listener& recipient) {
    // A tool that restores does not use the list of devices, and reading it costs time.
    const auto between_looks = std::chrono::milliseconds(bench_->holds_any() ? 500 : 50);
    attached_handles now = handles_on_bench();
    for (const auto& [position, handle] : attached) {
        const auto found = now.find(position);
        if (found == now.end() || found->second != handle) {
            recipient.callback(handle, disconnected, recipient.context);
        }
    }
    for (const auto& [position, handle] : now) {
        const auto found = attached.find(position);
        if (found == attached.end() || found->second != handle) {
            recipient.callback(handle, connected, recipient.context);
        }
    }
    attached.swap(now);
    return timeline::clock::now() + between_looks;
}

std::unique_ptr<timeline> running_simulation::play_events_to(const listener& recipient) {
    const auto start = timeline::clock::now();
    if (bench_) {
        return std::make_unique<timeline>(
            start, [this, recipient, attached = attached_handles()]() mutable {
                return play_bench(attached, recipient);
            });
    }
    return std::make_unique<timeline>(start,
                                      [this, start, recipient, next = std::size_t{0}]() mutable {
                                          return play_next_event(start, next, recipient);
                                      });
}

std::int32_t running_simulation::add_registration(AMRestorableDeviceNotificationCallback callback,
                                                  void* context) {
    const std::lock_guard lock(mutex_);
    ++last_registration_;
    if (!halted_) {
        const listener recipient{callback, context};
        registrations_[last_registration_] = {recipient, play_events_to(recipient)};
    }
    return last_registration_;
}

bool running_simulation::cancel_registration(std::int32_t number) {
    std::unique_ptr<timeline> events;
    {
        const std::lock_guard lock(mutex_);
        const auto found = registrations_.find(number);
        if (found == registrations_.end()) {
            return false;
        }
        found->second.events->cancel();
        if (played_.unregistration_waits) {
            // Its destructor waits for a running callback, which may need the lock.
            events = std::move(found->second.events);
            registrations_.erase(found);
        }
    }
    events.reset();
    pass(played_.unregistration_takes);
    return true;
}

void running_simulation::play_during(const std::string& call) {
    std::vector<listener> listeners;
    {
        const std::lock_guard lock(mutex_);
        for (const auto& [number, registered] : registrations_) {
            listeners.push_back(registered.recipient);
        }
    }
    for (const played_event& event : events_during_calls_) {
        if (event.about.during == call) {
            for (const listener& recipient : listeners) {
                notify(event, recipient);
            }
        }
    }
}

const restore_plan* running_simulation::begin_restore(const device_description& device) {
    if (bench_) {
        const auto restores_before = bench_->begin_restore(device.ecid);
        return restores_before ? &plan_of(device, *restores_before) : nullptr;
    }
    const std::lock_guard lock(mutex_);
    return &plan_of(device, begun_restores_[device.name]++);
}

void running_simulation::report(_AMRestorableDevice& device, const restore_plan& plan,
                                std::size_t position, AMRestorableDeviceRestoreCallback callback,
                                void* context) {
    const CFTypeRef content = plan.reports[position].report.get();
    // Before the callback: the device must be restored on the bench before the tool's record says
    // so.
    if (bench_ && is_success(content)) {
        bench_->complete_restore(device.description.ecid,
                                 plan.returns_after
                                     ? std::optional(seconds_from_now(*plan.returns_after))
                                     : std::nullopt);
    }
    callback(&device, static_cast<CFDictionaryRef>(content), context);
}

std::int32_t running_simulation::restore(_AMRestorableDevice& device,
                                         AMRestorableDeviceRestoreCallback callback,
                                         void* context) {
    constexpr std::int32_t bad_argument = 1;
    const restore_plan* const begun = begin_restore(device.description);
    if (begun == nullptr) {
        return bad_argument;
    }
    const restore_plan& plan = *begun;
    const std::shared_ptr<_AMRestorableDevice> kept(retained(&device));
    const auto play = [this, kept, &plan, callback, context](std::size_t i) {
        report(*kept, plan, i, callback, context);
    };
    const std::size_t inside = plan.reports_inside_call;
    for (std::size_t i = 0; i < inside; ++i) {
        pass(plan.reports[i].after);
        play(i);
    }
    std::vector<double> times;
    double time = 0;
    for (std::size_t i = inside; i < plan.reports.size(); ++i) {
        time += plan.reports[i].after;
        times.push_back(time);
    }
    {
        const std::lock_guard lock(mutex_);
        if (!halted_) {
            restores_.push_back(
                std::make_unique<timeline>(timeline::clock::now(), std::move(times), speed_,
                                           [play, inside](std::size_t i) { play(inside + i); }));
        }
    }
    pass(plan.call_takes);
    return plan.result;
}

void running_simulation::halt() {
    std::map<std::int32_t, registration> registrations;
    std::vector<std::unique_ptr<timeline>> restores;
    {
        const std::lock_guard lock(mutex_);
        halted_ = true;
        registrations.swap(registrations_);
        restores.swap(restores_);
    }
    // Their destructors wait for running callbacks, which may need the lock.
}

} // namespace simulator
