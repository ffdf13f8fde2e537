#pragma once

/// What a run has left in its folder. All of it is untrusted, because it comes from devices and
/// from files that anyone can change.

#include "station/events.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vandrel::station {

/// One operation of one try.
struct recorded_operation {
    /// A place in run_record::operation_names.
    std::size_t name = 0;
    awake_time begun{};
    awake_time ended{};
    /// The try ended in it, and did not restore the device.
    bool has_failed = false;

    bool operator==(const recorded_operation&) const = default;
};

struct recorded_end_of_try {
    awake_time when{};
    bool is_restored = false;

    bool operator==(const recorded_end_of_try&) const = default;
};

/// The last lines of a file that a tool has left.
struct recorded_log {
    std::string name;
    std::vector<std::string> lines;
};

/// One visit of a device.
struct recorded_visit {
    /// Empty for a device that was named by its serial number and never seen.
    std::string ecid;
    std::string serial_number;
    std::string slot;
    std::string location;
    std::string model;
    std::string product_string;
    std::string bundle_version;
    std::string bundle_build;
    /// "waiting", "running", "failing" or "quiet"; once the visit has ended, its `state` as in
    /// events.
    std::string state = "waiting";
    std::string reason;
    /// How it ended, for people.
    std::string sentence;
    std::optional<std::int64_t> operation;
    std::string operation_name;
    std::optional<std::int64_t> progress;
    /// How long the last try took, or has taken so far.
    std::optional<awake_time> duration;
    std::int64_t tries = 0;
    /// From 1.
    int visit = 1;
    bool has_ended = false;

    /// When the running try was begun.
    std::optional<awake_time> running_since;
    /// The last of `operations` goes on.
    bool is_in_operation = false;

    /// Of all tries, in their order.
    std::vector<recorded_operation> operations;
    std::vector<recorded_end_of_try> ends;
    /// Of the last try. Only the first 100 visits that were tried, for which is_failure() holds,
    /// have any.
    std::vector<recorded_log> logs;
};

/// Whether a device that ended so was to be restored and is not.
bool is_failure(const recorded_visit& visit);

/// A warning or an error that is about no device, other than the end of the run.
struct recorded_remark {
    std::string time;
    std::string text;

    bool operator==(const recorded_remark&) const = default;
};

struct run_record {
    std::string run;
    std::string version;
    std::string command;
    bool erases = false;
    /// A path.
    std::string bundle;
    std::string bundle_version;
    std::string bundle_build;
    /// RFC 3339.
    std::string started;
    /// Empty as long as the run has not ended.
    std::string ended;
    std::optional<std::int64_t> exit_status;
    /// Of a run that has ended.
    std::optional<counts> totals;
    std::vector<std::pair<std::string, std::string>> tags;

    /// In the order of their first events; those of which only the summary knows come last.
    std::vector<recorded_visit> visits;
    std::vector<std::string> operation_names;
    /// When the last event was.
    awake_time last{};
    /// The first ones.
    std::vector<recorded_remark> remarks;

    /// The last line of events.jsonl has no line feed.
    bool is_last_line_cut = false;
    /// How many lines of events.jsonl are too long, or no events.
    std::size_t unreadable_lines = 0;
    /// How many operations and remarks are left out because there are too many.
    std::size_t lost_operations = 0;
    std::size_t lost_remarks = 0;
};

} // namespace vandrel::station
