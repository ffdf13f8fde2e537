#pragma once

/// One run of the tool on one device: what is known of it, when it has to be ended, and how it
/// ended.

#include "station/bench.h"
#include "station/bench_options.h"
#include "station/events.h"

#include <optional>
#include <vector>

namespace vandrel::station {

class tool_run {
public:
    tool_run(const bench_options& options, awake_time now);

    // Each takes in what has happened. Those that return events return what is to be logged.
    std::vector<event_body> take(const restore_report& report, awake_time now);
    std::vector<event_body> take(const error_details& internal_error, awake_time now);
    std::vector<event_body> take_unreadable(awake_time now);
    std::vector<event_body> take_success(awake_time now);
    void take_not_started(std::string text);
    void take_process_end(std::int64_t exit_status, awake_time now);
    void take_stream_end() { stream_ended_ = true; }

    /// The event `quiet`, once for each silence; nothing while records come often enough, or when
    /// the process has ended.
    std::optional<event_body> quiet_event(awake_time now);

    /// Counts silence anew. Returns quiet_over when `quiet` was shown.
    std::optional<event_body> restart_silence(awake_time now);

    /// Why the tool has to be ended now; nothing when it need not or cannot be.
    std::optional<end_tool_why> limit_reached(awake_time now) const;

    /// The tool is being ended. The first reason counts.
    void end(end_tool_why why, awake_time now);
    /// Whether there is a process, and nobody has begun to end it.
    bool can_be_ended() const { return !ending_ && !process_ended_ && !not_started_; }

    /// `end` was called bench_times::give_up ago or earlier, and the process is still there.
    bool is_stuck(awake_time now) const;
    void give_up() { given_up_ = true; }
    bool given_up() const { return given_up_; }

    /// There is no process, or none any more.
    bool gone() const { return not_started_ || process_ended_; }

    /// There was no process, both the process and the stream have ended, or the process has ended
    /// long enough ago.
    bool over(awake_time now) const;

    bool writes_firmware() const { return is_firmware_operation(current_operation_); }

    /// Of a run that is over, given up or cut off by the end of the session.
    try_result result(awake_time now) const;
    /// When the process ended; the start of the run if no process has ended.
    awake_time process_gone() const { return process_ended_.value_or(started_); }
    /// What is to be logged besides the result when the run is over.
    std::optional<event_body> last_warning() const;

private:
    struct verdict {
        final_state state;
        end_reason reason;
    };
    verdict judge() const;
    std::vector<event_body> sign_of_life(awake_time now);
    void take_failure(const restore_report& report, awake_time now,
                      std::vector<event_body>& events);
    void take_place(const restore_report& report, std::vector<event_body>& events);

    const bench_options& options_;
    awake_time started_;
    awake_time last_record_;
    bool quiet_shown_ = false;
    bool began_ = false;
    std::int32_t current_operation_ = 0;
    std::optional<operation_progress> last_operation_;

    bool succeeded_ = false;
    /// When the first failing report came; absent when the run had succeeded before it.
    std::optional<awake_time> failing_since_;
    /// A report had an error or failed before the run succeeded. Even without a failing report,
    /// this counts as a failure unless the run succeeds after it.
    bool error_seen_ = false;
    std::optional<error_details> device_error_;
    bool device_error_from_failure_ = false;
    std::optional<error_details> tool_error_;
    bool tool_timed_out_ = false;
    std::size_t unreadable_ = 0;

    std::optional<std::string> not_started_;
    std::optional<awake_time> process_ended_;
    std::int64_t exit_status_ = 0;
    bool stream_ended_ = false;
    bool given_up_ = false;

    struct ending {
        end_tool_why why;
        awake_time since;
    };
    std::optional<ending> ending_;
};

/// Whether a try that ended so may be followed by another.
bool may_be_tried_again(const try_result& result);

} // namespace vandrel::station
