#include "station/tool_run.h"

#include <utility>

namespace vandrel::station {

namespace {

constexpr std::int64_t restore_timeout = 7;

bool is_own(const error_details& error) {
    return error.domain == "vandrel";
}

operation_progress place_of(const restore_report& report) {
    return {report.operation, report.operation_name, report.progress};
}

} // namespace

tool_run::tool_run(const bench_options& options, awake_time now)
    : options_(options), started_(now), last_record_(now) {}

std::vector<event_body> tool_run::sign_of_life(awake_time now) {
    std::vector<event_body> events;
    if (auto over = restart_silence(now)) {
        events.push_back(std::move(*over));
    }
    return events;
}

std::vector<event_body> tool_run::take(const restore_report& report, awake_time now) {
    std::vector<event_body> events = sign_of_life(now);
    began_ = true;
    take_place(report, events);
    take_failure(report, now, events);
    if (succeeds(report)) {
        succeeded_ = true;
    }
    return events;
}

void tool_run::take_place(const restore_report& report, std::vector<event_body>& events) {
    current_operation_ = report.operation;
    if (completes(report)) {
        return;
    }
    const operation_progress place = place_of(report);
    if (!last_operation_ || last_operation_->operation != place.operation) {
        events.emplace_back(operation{place});
    } else if (last_operation_->progress != place.progress) {
        events.emplace_back(progress{place});
    }
    last_operation_ = place;
}

void tool_run::take_failure(const restore_report& report, awake_time now,
                            std::vector<event_body>& events) {
    const std::optional<error_details> error = error_of(report);
    const bool failure = fails(report);
    if (!error && !failure) {
        return;
    }
    if (succeeded_) {
        events.emplace_back(warning{warning_kind::after_completion, place_of(report), error, {}});
        return;
    }
    // The error of the first failing report that has one counts, because what follows is mostly a
    // consequence. Without such a report, the last error counts.
    if (error && !device_error_from_failure_) {
        device_error_ = error;
        device_error_from_failure_ = failure;
    }
    error_seen_ = true;
    if (!failure) {
        events.emplace_back(warning{warning_kind::error_in_report, place_of(report), error, {}});
    } else if (!failing_since_) {
        failing_since_ = now;
        // A completing report names no operation. An earlier report says what the restore did.
        const bool nowhere = completes(report) && last_operation_;
        events.emplace_back(
            failure_reported{nowhere ? *last_operation_ : place_of(report), report.status, error});
    }
}

std::vector<event_body> tool_run::take(const error_details& internal_error, awake_time now) {
    std::vector<event_body> events = sign_of_life(now);
    if (succeeded_) {
        events.emplace_back(warning{warning_kind::after_completion, {}, internal_error, {}});
    }
    if (is_own(internal_error) && internal_error.code == restore_timeout) {
        tool_timed_out_ = true;
    }
    if (!tool_error_) {
        tool_error_ = internal_error;
    }
    return events;
}

std::vector<event_body> tool_run::take_unreadable(awake_time now) {
    std::vector<event_body> events = sign_of_life(now);
    began_ = true;
    if (unreadable_++ == 0) {
        events.emplace_back(warning{warning_kind::unreadable_record, {}, {}, {}});
    }
    return events;
}

std::vector<event_body> tool_run::take_success(awake_time now) {
    // A restore succeeds only by its completing report.
    if (options_.what != command::restore) {
        began_ = true;
        succeeded_ = true;
    }
    return sign_of_life(now);
}

void tool_run::take_not_started(std::string text) {
    not_started_ = std::move(text);
}

void tool_run::take_process_end(std::int64_t exit_status, awake_time now) {
    if (!process_ended_) {
        process_ended_ = now;
        exit_status_ = exit_status;
    }
}

std::optional<event_body> tool_run::quiet_event(awake_time now) {
    const awake_time limit = began_ ? options_.times.quiet : options_.times.never_began;
    if (quiet_shown_ || process_ended_ || now - last_record_ < limit) {
        return std::nullopt;
    }
    quiet_shown_ = true;
    return quiet{!began_, last_record_};
}

std::optional<event_body> tool_run::restart_silence(awake_time now) {
    last_record_ = now;
    if (std::exchange(quiet_shown_, false)) {
        return quiet_over{};
    }
    return std::nullopt;
}

std::optional<end_tool_why> tool_run::limit_reached(awake_time now) const {
    if (!can_be_ended()) {
        return std::nullopt;
    }
    const awake_time silence = now - last_record_;
    if (failing_since_ && !succeeded_ &&
        (silence >= options_.linger || now - *failing_since_ >= options_.times.linger_at_most)) {
        return end_tool_why::linger;
    }
    if (options_.time_limit && now - started_ >= *options_.time_limit) {
        return end_tool_why::time_limit;
    }
    if (silence >= options_.stall_timeout && !writes_firmware()) {
        return end_tool_why::silence;
    }
    return std::nullopt;
}

void tool_run::end(end_tool_why why, awake_time now) {
    if (!ending_) {
        ending_ = {why, now};
    }
}

bool tool_run::is_stuck(awake_time now) const {
    return ending_ && !process_ended_ && now - ending_->since >= options_.times.give_up;
}

bool tool_run::over(awake_time now) const {
    return not_started_ ||
           (process_ended_ &&
            (stream_ended_ || now - *process_ended_ >= options_.times.stream_after_process));
}

tool_run::verdict tool_run::judge() const {
    const auto ended_for = [this](end_tool_why why) { return ending_ && ending_->why == why; };
    // The first that matches counts.
    if (succeeded_) {
        return {final_state::restored, end_reason::completed};
    }
    if (error_seen_) {
        return {final_state::failed, end_reason::device_error};
    }
    if (given_up_) {
        return {final_state::failed, end_reason::tool_given_up};
    }
    if (ended_for(end_tool_why::user)) {
        return {final_state::cancelled, end_reason::user};
    }
    if (tool_timed_out_ || ended_for(end_tool_why::time_limit)) {
        return {final_state::timed_out, end_reason::time_limit};
    }
    if (tool_error_) {
        return {final_state::failed, end_reason::tool_error};
    }
    if (ended_for(end_tool_why::silence)) {
        return {final_state::stalled, began_ ? end_reason::silence : end_reason::never_began};
    }
    if (not_started_) {
        return {final_state::failed, end_reason::tool_not_started};
    }
    return {final_state::failed,
            exit_status_ == 0 ? end_reason::no_completion : end_reason::tool_crashed};
}

try_result tool_run::result(awake_time now) const {
    const verdict found = judge();
    try_result result;
    result.state = found.state;
    result.reason = found.reason;
    if (ending_) {
        result.by = ending_->why == end_tool_why::user ? ended_by::user : ended_by::station;
    }
    if (process_ended_) {
        result.exit_status = exit_status_;
    }
    result.duration = now - started_;
    if (found.reason == end_reason::device_error) {
        result.error = device_error_;
    } else if (found.reason == end_reason::tool_not_started) {
        result.error = error_details{{}, {}, *not_started_};
    } else if (found.state != final_state::restored) {
        result.error = tool_error_;
    }
    result.last_operation = last_operation_;
    result.unreadable_records = unreadable_;
    return result;
}

std::optional<event_body> tool_run::last_warning() const {
    if (succeeded_ && process_ended_ && exit_status_ != 0 && !ending_) {
        return warning{warning_kind::after_completion, {}, {}, exit_status_};
    }
    return std::nullopt;
}

bool may_be_tried_again(const try_result& result) {
    switch (result.reason) {
    case end_reason::device_error:
    case end_reason::tool_crashed:
    case end_reason::silence:
    case end_reason::never_began:
        return true;
    case end_reason::tool_error:
        return result.error && is_own(*result.error) && result.error->code >= 4 &&
               result.error->code <= 6;
    default:
        return false;
    }
}

} // namespace vandrel::station
