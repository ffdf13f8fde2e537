#include "station/bench_run.h"
#include "station/choice.h"

#include <algorithm>
#include <utility>

namespace vandrel::station {

void bench_run::on(const list_arrived& list) {
    if (!lists_.ended(list.list)) {
        return;
    }
    list_failure why{};
    if (auto devices = checked_list(list.devices, why)) {
        take_list(list.list, *devices);
    } else {
        list_has_failed(why, {});
    }
}

void bench_run::on(const list_continued& list) {
    lists_.continued(list.list, now_);
}

void bench_run::on(const list_not_had& list) {
    if (lists_.ended(list.list)) {
        list_has_failed(list.why, list.text);
    }
}

void bench_run::on(const bundles_read& what) {
    options_.bundles = what.bundles;
    for (auto& [ecid, properties] : known_) {
        name_model(properties);
    }
    for (auto& [ecid, device] : devices_) {
        if (device.properties) {
            name_model(*device.properties);
        }
    }
}

void bench_run::on(const usb_arrival&) {
    if (options_.watch && !no_new_device()) {
        lists_.want();
    }
}

void bench_run::list_has_failed(list_failure why, std::string text) {
    log(list_failed{why, std::move(text)}, event_level::warning);
    if (phase_ == phase::first_list) {
        outcome_.cannot_work = true;
        finish();
    }
}

void bench_run::take_list(list_id list, const std::vector<listed_device>& devices) {
    take_properties(devices);
    for (auto& [ecid, device] : devices_) {
        // In a run without a watch only those that wait for their next try have to be there.
        const bool concerned = device.at == stage::retrying || options_.watch;
        if (!concerned || device.barred || device.run || device.ignore_through >= list) {
            continue;
        }
        if (std::ranges::find(devices, ecid, &listed_device::ecid) != devices.end()) {
            take_shown(device);
        } else {
            take_absent(device);
        }
    }
    if (phase_ == phase::first_list || (options_.watch && !no_new_device())) {
        add_devices(devices);
    }
    if (phase_ == phase::first_list) {
        phase_ = phase::locking;
    }
}

void bench_run::take_properties(const std::vector<listed_device>& devices) {
    std::map<std::string, device_properties> known;
    for (const listed_device& listed : devices) {
        const auto before = known_.find(listed.ecid);
        if (listed.properties) {
            name_model(known[listed.ecid] = *listed.properties);
        } else if (before != known_.end()) {
            known.insert(*before);
        }
        const auto device = devices_.find(listed.ecid);
        if (listed.properties && device != devices_.end()) {
            device->second.properties = known[listed.ecid];
        }
    }
    known_ = std::move(known);
}

void bench_run::add_devices(const std::vector<listed_device>& devices) {
    for (const listed_device& listed : devices) {
        const auto properties = known_.find(listed.ecid);
        std::optional<device_properties> known;
        if (properties != known_.end()) {
            known = properties->second;
        }
        const bool named = is_named(options_, listed.ecid, known);
        if ((!named && !options_.all) || devices_.contains(listed.ecid)) {
            continue;
        }
        device_record& device = devices_[listed.ecid];
        device.ecid = listed.ecid;
        device.properties = known;
        device.named = named;
        log(device_found{known}, event_level::info, &device);
        consider(device);
    }
}

void bench_run::take_shown(device_record& device) {
    const bool was_away = !std::exchange(device.present, true);
    ++device.lists_with;
    device.lists_without = 0;
    const bool back = was_away && came_back(device, options_.times, now_);
    if (back || never_left(device, options_.times, lists_.last_begun())) {
        device.barred = true;
        end_device(device, final_state::failed, end_reason::came_back);
    } else if (device.visit_over) {
        new_visit(device);
    } else if (was_away) {
        log(device_back{}, event_level::info, &device);
    }
    if (device.visit_over || no_new_device()) {
        return;
    }
    if (device.left_alone_for(end_reason::held)) {
        out_.emplace_back(lock_device{device.ecid});
    } else if (device.verdict && device.verdict->state == final_state::left_alone &&
               !reason_against(device)) {
        consider(device);
    }
}

void bench_run::take_absent(device_record& device) {
    device.lists_with = 0;
    ++device.lists_without;
    if (std::exchange(device.present, false)) {
        device.away_since = now_;
        log(device_away{}, event_level::info, &device);
    }
}

void bench_run::new_visit(device_record& device) {
    if (no_new_device()) {
        return;
    }
    device.visit_over = false;
    ++device.visit;
    device.tries = 0;
    device.last_try.reset();
    log(device_found{device.properties}, event_level::info, &device);
    if (device.at != stage::waiting) {
        consider(device);
    }
}

void bench_run::look_at_visits() {
    for (auto& [ecid, device] : devices_) {
        const bool can_end = device.at == stage::ended || device.at == stage::waiting;
        if (options_.watch && can_end && has_left(device, options_.times, now_)) {
            device.visit_over = true;
        }
    }
}

void bench_run::begin_list() {
    const auto any = [this](stage at) {
        return std::ranges::any_of(devices_,
                                   [at](const auto& entry) { return entry.second.at == at; });
    };
    // A device that the last list brought is begun first, or lists that follow each other without a
    // pause would keep it waiting.
    if (any(stage::locking)) {
        return;
    }
    std::optional<awake_time> every;
    if (phase_ == phase::working && any(stage::retrying)) {
        every = std::min(options_.poll, options_.times.retry_poll);
    } else if (phase_ == phase::working && options_.watch && !no_new_device()) {
        every = options_.poll;
    }
    if (const std::optional<list_id> list = lists_.begin(now_, every)) {
        out_.emplace_back(start_list{*list, without_properties()});
    }
}

std::vector<std::string> bench_run::without_properties() const {
    std::set<std::string> result;
    for (const auto& [ecid, properties] : known_) {
        result.insert(ecid);
    }
    for (const auto& [ecid, device] : devices_) {
        if (device.run || device.barred) {
            result.insert(ecid);
        }
    }
    return {result.begin(), result.end()};
}

} // namespace vandrel::station
