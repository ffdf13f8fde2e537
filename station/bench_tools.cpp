#include "station/bench_run.h"

#include <algorithm>
#include <utility>

namespace vandrel::station {

device_record* bench_run::owner(tool_id tool) {
    const auto found = running_.find(tool);
    return found == running_.end() ? nullptr : found->second;
}

void bench_run::on(const tool_not_started& what) {
    if (device_record* device = owner(what.tool)) {
        device->run->take_not_started(what.text);
    }
}

void bench_run::on(const report_arrived& what) {
    if (device_record* device = owner(what.tool)) {
        log(device->run->take(what.report, now_), *device);
    }
}

void bench_run::on(const command_succeeded& what) {
    if (device_record* device = owner(what.tool)) {
        log(device->run->take_success(now_), *device);
    }
}

void bench_run::on(const internal_error& what) {
    if (device_record* device = owner(what.tool)) {
        log(device->run->take(what.error, now_), *device);
    }
}

void bench_run::on(const record_unreadable& what) {
    if (device_record* device = owner(what.tool)) {
        log(device->run->take_unreadable(now_), *device);
    }
}

void bench_run::on(const process_ended& what) {
    if (device_record* device = owner(what.tool)) {
        device->run->take_process_end(what.exit_status, now_);
        return;
    }
    const auto found = given_up_.find(what.tool);
    if (found != given_up_.end()) {
        out_.emplace_back(tool_over{what.tool, found->second});
        out_.emplace_back(unlock_device{found->second});
        given_up_.erase(found);
    }
}

void bench_run::on(const stream_ended& what) {
    if (device_record* device = owner(what.tool)) {
        device->run->take_stream_end();
    }
}

void bench_run::look_at_tools() {
    const auto running = running_;
    for (const auto& [tool, device] : running) {
        look_at_tool(*device);
    }
}

void bench_run::look_at_tool(device_record& device) {
    tool_run& run = *device.run;
    if (run.is_stuck(now_)) {
        run.give_up();
    }
    if (run.given_up() || run.over(now_)) {
        finish_try(device);
        return;
    }
    if (auto event = run.quiet_event(now_)) {
        log({std::move(*event)}, device);
    }
    if (const std::optional<end_tool_why> why = run.limit_reached(now_)) {
        end_tool_of(device, *why);
    }
}

void bench_run::end_tool_of(device_record& device, end_tool_why why) {
    if (device.run->can_be_ended()) {
        device.run->end(why, now_);
        out_.emplace_back(end_tool{device.tool, device.ecid, why});
    }
}

void bench_run::finish_try(device_record& device) {
    if (auto event = device.run->last_warning()) {
        log({std::move(*event)}, device);
    }
    if (device.run->gone()) {
        out_.emplace_back(tool_over{device.tool, device.ecid});
    } else {
        given_up_[device.tool] = device.ecid;
        device.barred = true;
        out_.emplace_back(give_up_tool{device.tool, device.ecid});
    }
    const try_result result = device.run->result(now_);
    const bool again = !device.barred && !cancelled_ && may_be_tried_again(result) &&
                       device.tries <= options_.retries;
    device.last_try = result;
    device.process_gone = device.run->process_gone();
    device.run.reset();
    running_.erase(device.tool);
    device.present = true;
    device.lists_with = 0;
    device.lists_without = 0;
    device.ignore_through = lists_.last();
    log(try_ended{result, again},
        result.state == final_state::restored ? event_level::info : event_level::error, &device);
    if (again) {
        device.at = stage::retrying;
    } else {
        end_device(device, result.state, result.reason);
    }
}

void bench_run::look_at_retries() {
    for (auto& [ecid, device] : devices_) {
        if (device.at == stage::retrying && not_back(device, options_.times, now_)) {
            end_device(device, final_state::failed, end_reason::not_back);
        }
    }
}

bool bench_run::working() const {
    return !running_.empty();
}

void bench_run::begin_tools() {
    const auto may_begin = [this] {
        return running_.size() < options_.at_once && !lists_.under_way() &&
               (!last_start_ || now_ - *last_start_ >= options_.stagger);
    };
    while (may_begin()) {
        device_record* device = next_to_begin();
        if (!device || !has_room_beside_others(*device)) {
            return;
        }
        begin_tool(*device);
    }
}

bool bench_run::has_room_beside_others(const device_record& device) const {
    if (!options_.room || !options_.room_limits_tools) {
        return true;
    }
    std::uint64_t left = *options_.room;
    const auto takes = [&left](const device_record& each) {
        const std::uint64_t needed = each.with() ? room_for(*each.with()) : 0;
        const bool has_room = needed <= left;
        left -= std::min(needed, left);
        return has_room;
    };
    return std::ranges::all_of(running_, [&](const auto& entry) { return takes(*entry.second); }) &&
           takes(device);
}

device_record* bench_run::next_to_begin() {
    if (cancelled_) {
        return nullptr;
    }
    for (auto& [ecid, device] : devices_) {
        if (device.at == stage::retrying && ready_again(device, options_.times, now_)) {
            return &device;
        }
    }
    for (auto& [ecid, device] : devices_) {
        const bool there = device.present || !options_.watch;
        if (device.at == stage::waiting && there && !no_new_device()) {
            return &device;
        }
    }
    return nullptr;
}

void bench_run::begin_tool(device_record& device) {
    device.at = stage::running;
    device.run.emplace(options_, now_);
    device.tool = ++last_tool_;
    running_[device.tool] = &device;
    ++device.tries;
    begun_.insert(device.ecid);
    last_start_ = now_;
    lists_.tool_started(now_);
    log(try_started{device.with()}, event_level::info, &device);
    out_.emplace_back(
        start_tool{device.tool, device.ecid, device.tries, device.visit, device.with()});
}

void bench_run::end_device(device_record& device, final_state state, end_reason reason) {
    device.at = stage::ended;
    device.verdict = {state, reason};
    device.ended_at = now_;
    event_level level = event_level::error;
    if (state == final_state::restored) {
        level = event_level::info;
    } else if (state == final_state::cancelled) {
        level = event_level::warning;
    }
    log(device_ended{state, reason, device.tries, device.last_try}, level, &device);
    unlock(device);
    count_in_a_row(state);
}

void bench_run::leave_alone(device_record& device, end_reason reason,
                            std::optional<std::int64_t> holder) {
    device.at = stage::ended;
    device.verdict = {final_state::left_alone, reason};
    device.holder = holder;
    log(device_left_alone{reason, holder}, event_level::warning, &device);
    unlock(device);
}

/// A tool that did not go may still work on its device, so that nobody else may have it.
void bench_run::unlock(device_record& device) {
    if (!given_up_.contains(device.tool) && std::exchange(device.locked, false)) {
        out_.emplace_back(unlock_device{device.ecid});
    }
}

void bench_run::count_in_a_row(final_state state) {
    if (state == final_state::restored) {
        failures_in_a_row_ = 0;
    } else if (state == final_state::failed || state == final_state::timed_out ||
               state == final_state::stalled) {
        ++failures_in_a_row_;
    }
    if (options_.stop_after > 0 && failures_in_a_row_ >= options_.stop_after &&
        !std::exchange(stopped_, true)) {
        log(stopped_after{failures_in_a_row_}, event_level::error);
    }
}

} // namespace vandrel::station
