#include "station/bench_run.h"
#include "station/choice.h"

#include <algorithm>

namespace vandrel::station {

void bench_run::start() {
    log(run_started{options_.what, options_.erase, options_.watch}, event_level::info);
    if (lacks_consent(options_)) {
        outcome_.refused = true;
        finish();
        return;
    }
    phase_ = phase::first_list;
    lists_.want();
    begin_list();
}

void bench_run::consider(device_record& device) {
    device.verdict.reset();
    const std::optional<end_reason> why = reason_against(device);
    if (!why) {
        if (options_.from_folder) {
            device.bundles = fitting_bundles(options_, device.properties);
        }
        device.at = stage::locking;
        out_.emplace_back(lock_device{device.ecid});
        return;
    }
    named_unfit_ |= *why != end_reason::no_room && phase_ == phase::first_list &&
                    options_.ecids.contains(device.ecid);
    leave_alone(device, *why);
}

/// Why the device cannot be worked on with the bundles that there are.
std::optional<end_reason> bench_run::reason_against(const device_record& device) const {
    if (!is_fit(options_, device.ecid, device.properties)) {
        return options_.from_folder ? end_reason::no_bundle : end_reason::unfit;
    }
    if (options_.room) {
        const bundle_list fitting = fitting_bundles(options_, device.properties);
        if (!fitting.empty() && room_for(*fitting.front()) > *options_.room) {
            return end_reason::no_room;
        }
    }
    return {};
}

void bench_run::name_model(device_properties& properties) const {
    if (options_.bundles) {
        properties.model = model_of(properties, *options_.bundles);
    }
}

void bench_run::on(const lock_obtained& lock) {
    const auto found = devices_.find(lock.ecid);
    if (found == devices_.end()) {
        return;
    }
    device_record& device = found->second;
    if (device.at != stage::locking && !device.left_alone_for(end_reason::held)) {
        return;
    }
    device.at = stage::waiting;
    device.verdict.reset();
    device.locked = true;
    had_work_ = true;
}

void bench_run::on(const lock_held& lock) {
    const auto found = devices_.find(lock.ecid);
    if (found != devices_.end() && found->second.at == stage::locking) {
        leave_alone(found->second, end_reason::held, lock.holder);
    }
}

void bench_run::on(const consent_answer& answer) {
    if (phase_ != phase::asking) {
        return;
    }
    if (consents(question().wanted, answer.line)) {
        phase_ = phase::working;
    } else {
        outcome_.refused = true;
        finish();
    }
}

/// When the locks are decided on: whether and how the run goes on.
void bench_run::decide() {
    const bool locks_awaited = std::ranges::any_of(
        devices_, [](const auto& entry) { return entry.second.at == stage::locking; });
    if (phase_ != phase::locking || locks_awaited) {
        return;
    }
    const ask_consent asked = question();
    const std::size_t chosen = asked.devices.size();
    if (!options_.watch) {
        add_missing();
    }
    outcome_.refused = options_.expect && chosen != *options_.expect;
    const bool nothing_comes_later = !options_.watch || options_.dry_run;
    outcome_.nothing_fits = named_unfit_ || (nothing_comes_later && chosen == 0);
    outcome_.cannot_work = outcome_.nothing_fits && !named_unfit_ &&
                           std::ranges::any_of(devices_, [](const auto& entry) {
                               return entry.second.left_alone_for(end_reason::no_room);
                           });
    if (outcome_.refused || outcome_.nothing_fits) {
        finish();
    } else if (options_.dry_run) {
        out_.emplace_back(show_choice{asked});
        dry_ = true;
        finish();
    } else if (needs_consent(options_)) {
        out_.emplace_back(asked);
        phase_ = phase::asking;
    } else {
        phase_ = phase::working;
    }
}

ask_consent bench_run::question() const {
    ask_consent result;
    result.erase = options_.erase;
    result.watch = options_.watch;
    for (const auto& [ecid, device] : devices_) {
        if (device.at == stage::waiting) {
            result.devices.push_back({device.ecid, device.properties, device.bundles});
        } else if (device.verdict && device.verdict->state == final_state::left_alone) {
            result.left_alone.push_back(
                {{device.ecid, device.properties}, {device.verdict->reason, device.holder}});
        }
    }
    result.wanted = wanted_answer(options_, result.devices.size());
    return result;
}

void bench_run::add_missing() {
    for (const std::string& ecid : options_.ecids) {
        if (!devices_.contains(ecid)) {
            add_missing_device(ecid, ecid, {});
        }
    }
    for (const std::string& entry : options_.only) {
        const bool seen = std::ranges::any_of(devices_, [&](const auto& known) {
            return names(entry, known.first, known.second.properties);
        });
        if (!seen) {
            const std::optional<std::string> ecid = ecid_of_entry(entry);
            add_missing_device(ecid.value_or(entry), ecid.value_or(""), ecid ? "" : entry);
        }
    }
}

void bench_run::add_missing_device(const std::string& key, const std::string& ecid,
                                   const std::string& serial_number) {
    device_record& device = devices_[key];
    device.ecid = ecid;
    device.named = true;
    if (!serial_number.empty()) {
        device.properties.emplace().serial_number = serial_number;
    }
    device.barred = true;
    end_device(device, final_state::missing, end_reason::never_seen);
}

} // namespace vandrel::station
