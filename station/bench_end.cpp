#include "station/bench_run.h"

#include <algorithm>
#include <utility>

namespace vandrel::station {

void bench_run::on(const user_cancelled&) {
    if (!cancelled_) {
        cancelled_ = true;
        log(cancel{1, {}}, event_level::warning);
        if (phase_ != phase::working) {
            // Whoever answers a question so does not consent.
            outcome_.refused = phase_ == phase::asking;
            finish();
            return;
        }
        end_retries();
        return;
    }
    if (third_cancel_until_ && now_ <= *third_cancel_until_) {
        third_cancel_until_.reset();
        log(cancel{3, {}}, event_level::warning);
        end_tools(true);
        return;
    }
    std::vector<event_device> writing;
    for (const auto& [tool, device] : running_) {
        if (device->run->can_be_ended() && device->run->writes_firmware()) {
            writing.push_back(whom(*device));
        }
    }
    std::ranges::sort(writing, {}, &event_device::ecid);
    third_cancel_until_.reset();
    if (!writing.empty()) {
        third_cancel_until_ = now_ + options_.times.third_cancel;
    }
    log(cancel{2, std::move(writing)}, event_level::warning);
    end_tools(false);
}

void bench_run::on(const session_ends&) {
    session_over_ = true;
    if (phase_ == phase::writing) {
        on(record_written{});
    }
}

void bench_run::end_session() {
    cancelled_ = true;
    log(cancel{0, {}}, event_level::warning);
    end_tools(true);
    const auto running = running_;
    for (const auto& [tool, device] : running) {
        finish_try(*device);
    }
    outcome_.refused = phase_ == phase::asking;
    finish();
}

void bench_run::on(const log_has_hole& hole) {
    if (!std::exchange(outcome_.log_incomplete, true)) {
        log(log_incomplete{hole.text}, event_level::error);
    }
}

void bench_run::on(const record_written&) {
    const int status = exit_status_of(outcome_);
    log(run_ended{totals(), status}, status == 0 ? event_level::info : event_level::error);
    out_.emplace_back(run_over{status});
    phase_ = phase::over;
}

void bench_run::end_tools(bool firmware_too) {
    for (const auto& [tool, device] : running_) {
        if (firmware_too || !device->run->writes_firmware()) {
            end_tool_of(*device, end_tool_why::user);
        }
    }
}

void bench_run::end_retries() {
    for (auto& [ecid, device] : devices_) {
        if (device.at == stage::retrying) {
            end_device(device, device.last_try->state, device.last_try->reason);
        }
    }
}

bool bench_run::no_new_device() const {
    const bool watch_over =
        options_.watch && ((options_.count && begun_.size() >= *options_.count) ||
                           (options_.watch_time && now_ >= *options_.watch_time));
    return cancelled_ || stopped_ || watch_over;
}

void bench_run::look_at_end() {
    const bool awaited = std::ranges::any_of(devices_, [](const auto& entry) {
        return entry.second.at == stage::running || entry.second.at == stage::retrying;
    });
    const bool to_begin = options_.watch || std::ranges::any_of(devices_, [](const auto& entry) {
                              return entry.second.at == stage::waiting;
                          });
    if (awaited || (to_begin && !no_new_device())) {
        return;
    }
    outcome_.nothing_fits = !had_work_;
    finish();
}

/// Each device that is known gets its final state. In a watch, those that were never seen get it,
/// too.
void bench_run::settle_rest() {
    if (options_.watch && phase_ == phase::working) {
        add_missing();
    }
    end_retries();
    for (auto& [ecid, device] : devices_) {
        if (device.at == stage::ended) {
            continue;
        }
        if (outcome_.refused || outcome_.nothing_fits || dry_) {
            leave_alone(device, end_reason::not_begun);
        } else if (cancelled_) {
            end_device(device, final_state::cancelled, end_reason::user);
        } else {
            leave_alone(device, stopped_ ? end_reason::stopped : end_reason::watch_over);
        }
    }
}

bool bench_run::all_done() const {
    const bool cut_short = cancelled_ && phase_ != phase::working;
    return !cut_short && std::ranges::all_of(devices_, [this](const auto& entry) {
        const device_record& device = entry.second;
        const bool left_alone = device.verdict->state == final_state::left_alone;
        return device.restored() || dry_ || (left_alone && !device.named && !stopped_);
    });
}

void bench_run::finish() {
    settle_rest();
    outcome_.cancelled = cancelled_;
    outcome_.all_done = all_done();
    if (const std::optional<list_id> list = lists_.current()) {
        out_.emplace_back(end_list{*list});
    }
    out_.emplace_back(write_record{});
    phase_ = phase::writing;
}

counts bench_run::totals() const {
    counts result;
    result.chosen = devices_.size();
    for (const auto& [ecid, device] : devices_) {
        if (!device.verdict) {
            continue;
        }
        switch (device.verdict->state) {
        case final_state::restored:
            ++result.restored;
            break;
        case final_state::failed:
            ++result.failed;
            break;
        case final_state::timed_out:
            ++result.timed_out;
            break;
        case final_state::stalled:
            ++result.stalled;
            break;
        case final_state::cancelled:
            ++result.cancelled;
            break;
        case final_state::missing:
            ++result.missing;
            break;
        case final_state::left_alone:
            ++result.left_alone;
            break;
        }
    }
    return result;
}

} // namespace vandrel::station
