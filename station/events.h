#pragma once

/// The events of a run: what the JSON log holds, one line each, and what every view is made from.
/// They are plain values. The log adds `v`, `time`, `run` and `message` to each, `tags` if the run
/// has any, and `left_s` to an operation if the time left is known.

#include "station/device.h"
#include "station/report.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace vandrel::station {

/// A length of time, or the time since the start of the run. The times of events leave out gaps of
/// the clock, such as the sleep of the computer (bench_times::clock_gap).
using awake_time = std::chrono::milliseconds;

enum class event_level { info, warning, error };

/// How a try or a device ended.
enum class final_state { restored, failed, timed_out, stalled, cancelled, missing, left_alone };

/// Why it ended so.
enum class end_reason {
    /// restored: the restore has completed, or `recover`'s command has succeeded.
    completed,
    /// failed: a report had an error or the status "Failed".
    device_error,
    /// failed: an `InternalError` record, other than that of the tool's time limit.
    tool_error,
    /// failed: exit status 0 without a completing report, or without `recover`'s `CommandSuccess`.
    no_completion,
    /// failed: another exit status, without an `InternalError`.
    tool_crashed,
    /// failed: there was no process.
    tool_not_started,
    /// failed: the station ended the process, but it is still there; the device is not touched
    /// again in this run.
    tool_given_up,
    /// failed: it was to be tried again, and was not seen in time.
    not_back,
    /// failed: it was restored, and was back soon after or never left.
    came_back,
    /// timed_out: the tool's limit or the station's.
    time_limit,
    /// stalled: records came, and then none for too long.
    silence,
    /// stalled: no report ever came.
    never_began,
    /// cancelled: its tool was ended because the user cancelled or the session ended, or it was not
    /// begun any more.
    user,
    /// missing: it was named and never seen.
    never_seen,
    /// left_alone: no build identity of the bundle is for it.
    unfit,
    /// left_alone: no bundle of the folder is for it and for what the run does.
    no_bundle,
    /// left_alone: the scratch folder has too little room for its bundle.
    no_room,
    /// left_alone: another station works on it, or its lock could not be had.
    held,
    /// left_alone: too many failures in a row, before it was begun.
    stopped,
    /// left_alone: the watch was over before it was begun.
    watch_over,
    /// left_alone: the run only showed what it would do, or ended with status 2 or 3 before it
    /// began any device.
    not_begun,
};

enum class ended_by { tool, station, user };

/// What a run does to its devices.
enum class command { restore, recover_exit, recover_stay };

/// How many devices ended in each state. Each device counts once, in its last state. When the run
/// has ended, the other numbers add up to `chosen`.
struct counts {
    std::size_t chosen = 0;
    std::size_t restored = 0;
    std::size_t failed = 0;
    std::size_t timed_out = 0;
    std::size_t stalled = 0;
    std::size_t cancelled = 0;
    std::size_t missing = 0;
    std::size_t left_alone = 0;

    bool operator==(const counts&) const = default;
};

/// Where a restore is.
struct operation_progress {
    std::int32_t operation = 0;
    /// Empty when neither the record nor the table of operations has one.
    std::string name;
    std::int64_t progress = 0;

    bool operator==(const operation_progress&) const = default;
};

// The bodies of the events, named as the log names them.

struct run_started {
    command what = command::restore;
    bool erase = false;
    bool watch = false;
};

/// A device that was asked for is there: seen for the first time, or after its last visit had
/// ended.
struct device_found {
    std::optional<device_properties> properties;
};

/// Nothing is done to the device, at least for now. In a watch it can be worked on later: when the
/// other station has let go of it, when its properties are known, when the folder has a bundle for
/// it, or in a new visit.
struct device_left_alone {
    end_reason reason = end_reason::unfit;
    /// With `held`, the process number of the station that holds it; absent when it is not known.
    std::optional<std::int64_t> holder;
};

struct try_started {
    /// The bundle from a folder of bundles; null without a folder.
    std::shared_ptr<const bundle> with = {};
};

/// The first report of an operation.
struct operation : operation_progress {};

/// A later report of it, with another progress.
struct progress : operation_progress {};

/// No record for long.
struct quiet {
    /// No report has come at all: the restore has not begun.
    bool never_began = false;
    /// When the last record came; without one, when the try began. After a gap of the clock: the
    /// end of the gap, if that is later.
    awake_time since{};
};

/// A record has come, or the clock had a gap and silence is counted anew.
struct quiet_over {};

/// The last list did not have the device, which has no consequence yet.
struct device_away {};

/// A list has it again, and its visit had not ended.
struct device_back {};

/// A report says that the restore has failed. The tool is given some time to end by itself.
struct failure_reported {
    operation_progress where;
    std::string status;
    std::optional<error_details> error;
};

enum class warning_kind {
    /// A report that neither completes nor says "Failed" has an error.
    error_in_report,
    /// A record could not be read; reported once a try.
    unreadable_record,
    /// A failure or an error of any kind, after the device was restored.
    after_completion,
};

struct warning {
    warning_kind kind = warning_kind::error_in_report;
    std::optional<operation_progress> where;
    std::optional<error_details> error;
    /// With `after_completion`, when the process ended abnormally.
    std::optional<std::int64_t> exit_status;
};

/// What is known of a try when it is over.
struct try_result {
    final_state state = final_state::failed;
    end_reason reason = end_reason::tool_crashed;
    ended_by by = ended_by::tool;
    /// Absent when there was no process, or when it has not ended.
    std::optional<std::int64_t> exit_status;
    awake_time duration{};
    std::optional<error_details> error;
    /// Where the restore was, by the last report that was no completing one; absent without any.
    std::optional<operation_progress> last_operation;
    std::size_t unreadable_records = 0;
};

struct try_ended : try_result {
    bool will_retry = false;
};

/// The device's final state, unless a watch goes on with the device: one that was restored and does
/// not start gets a second `device_ended`, and a new visit can follow. A device that is left alone
/// gets `device_left_alone` instead.
struct device_ended {
    final_state state = final_state::failed;
    end_reason reason = end_reason::tool_crashed;
    /// How many times it was tried in this visit.
    int tries = 0;
    /// Of its last try; absent without one.
    std::optional<try_result> last_try;
};

enum class list_failure {
    /// The process could not be started.
    not_started,
    /// It ended without a list.
    no_list,
    /// Its record could not be read, or an ECID in it.
    broken,
    /// The list has an ECID twice.
    duplicate_ecid,
    /// The list took too long.
    timed_out,
};

struct list_failed {
    list_failure why = list_failure::no_list;
    /// For people; empty when there is nothing to add.
    std::string text;
};

struct clock_gap {
    awake_time length{};
};

/// The run's own record has a hole.
struct log_incomplete {
    std::string text;
};

struct stopped_after {
    std::size_t failures = 0;
};

/// Whom an event is about.
struct event_device {
    /// Empty for a device that was named by its serial number and never seen.
    std::string ecid;
    /// Empty when it is not known.
    std::string serial_number;
    /// Empty and 0 as long as the device's properties are not known. A port without a name has no
    /// slot.
    std::string slot;
    std::uint32_t location_id = 0;
    /// Which try of the visit this is, from 1; 0 before the first.
    int try_number = 0;
};

struct cancel {
    /// 1: no device is begun or tried again. 2: tools are ended, except those that write firmware.
    /// 3: these too. 0: the run ends at once, because the session ends or the station cannot go on.
    int stage = 1;
    /// With stage 2, the devices whose tools were not ended, because they write firmware.
    std::vector<event_device> writing_firmware;
};

struct run_ended {
    counts totals;
    int exit_status = 0;
};

using event_body = std::variant<run_started, device_found, device_left_alone, try_started,
                                operation, progress, quiet, quiet_over, device_away, device_back,
                                failure_reported, warning, try_ended, device_ended, list_failed,
                                clock_gap, log_incomplete, stopped_after, cancel, run_ended>;

struct event {
    /// From 1, without gaps.
    std::uint64_t seq = 0;
    awake_time t{};
    event_level level = event_level::info;
    /// In every event that is about one device.
    std::optional<event_device> device;
    event_body body;
};

/// The words of the log, such as "try_started", "timed_out", "no_completion", "station".
std::string_view name_of(const event_body& body);
std::string_view name_of(event_level level);
std::string_view name_of(final_state state);
std::string_view name_of(end_reason reason);
std::string_view name_of(ended_by by);
std::string_view name_of(command what);
std::string_view name_of(warning_kind kind);
std::string_view name_of(list_failure why);

} // namespace vandrel::station
