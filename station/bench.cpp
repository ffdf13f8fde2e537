#include "station/bench.h"

#include "station/bench_run.h"
#include "station/choice.h"

#include <algorithm>
#include <utility>

namespace vandrel::station {

bench::bench(bench_options options) : run_(std::make_unique<bench_run>(std::move(options))) {}

bench::~bench() = default;

std::vector<decision> bench::turn(awake_time now, std::span<const input> happened) {
    return run_->turn(now, happened);
}

bool bench::working() const {
    return run_->working();
}

counts bench::totals() const {
    return run_->totals();
}

std::vector<decision> bench_run::turn(awake_time now, std::span<const input> happened) {
    if (phase_ == phase::over) {
        return {};
    }
    advance_clock(now);
    if (phase_ == phase::fresh) {
        start();
    }
    // Ctrl-C comes last: it ends no tool whose end has come with it.
    take(happened, false);
    take(happened, true);
    if (phase_ < phase::writing) {
        // What has come before the end of the session, or with it, still counts.
        session_over_ ? end_session() : look_at_limits();
    }
    return std::exchange(out_, {});
}

void bench_run::take(std::span<const input> happened, bool cancels) {
    for (const input& one : happened) {
        if (still_counts(one) && std::holds_alternative<user_cancelled>(one) == cancels) {
            std::visit([this](const auto& what) { on(what); }, one);
        }
    }
}

bool bench_run::still_counts(const input& what) const {
    if (phase_ != phase::writing) {
        return phase_ != phase::over;
    }
    return std::holds_alternative<log_has_hole>(what) ||
           std::holds_alternative<record_written>(what) ||
           std::holds_alternative<session_ends>(what);
}

void bench_run::look_at_limits() {
    if (const std::optional<list_id> list = lists_.overdue(now_)) {
        out_.emplace_back(end_list{*list});
        list_has_failed(list_failure::timed_out, {});
    }
    decide();
    if (phase_ == phase::working) {
        look_at_tools();
        look_at_visits();
        look_at_retries();
        begin_tools();
        begin_list();
        look_at_end();
    }
}

void bench_run::advance_clock(awake_time now) {
    if (phase_ == phase::fresh) {
        given_ = now;
        return;
    }
    const awake_time passed = std::max(now - std::exchange(given_, now), awake_time{});
    if (passed <= options_.times.clock_gap) {
        now_ += passed;
        return;
    }
    // Nobody was looked after in the meantime, so that it counts for nobody.
    log(clock_gap{passed}, event_level::warning);
    for (const auto& [tool, device] : running_) {
        if (auto over = device->run->restart_silence(now_)) {
            log({std::move(*over)}, *device);
        }
    }
}

void bench_run::log(event_body body, event_level level, const device_record* device) {
    event what;
    what.seq = ++seq_;
    what.t = now_;
    what.level = level;
    if (device) {
        what.device = whom(*device);
    }
    what.body = std::move(body);
    out_.emplace_back(log_event{std::move(what)});
}

void bench_run::log(std::vector<event_body> bodies, const device_record& device) {
    for (event_body& body : bodies) {
        event_level level = event_level::info;
        if (std::holds_alternative<failure_reported>(body)) {
            level = event_level::error;
        } else if (std::holds_alternative<warning>(body) || std::holds_alternative<quiet>(body)) {
            level = event_level::warning;
        }
        log(std::move(body), level, &device);
    }
}

} // namespace vandrel::station
