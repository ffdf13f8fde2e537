#pragma once

/// The rules of a run: which devices, when each is begun, ended, tried again or given up, how it
/// ended, and the exit status of the run. No clock, process, file or screen is in here: things
/// that have happened go in, decisions come out.
///
///     bench rules(options);
///     for (bool over = false; !over;) {
///         wait_for_something(bench::turn_interval);  // what lies in the pipes is read first
///         for (decision& d : rules.turn(awake_now(), things_that_happened())) {
///             over |= carry_out(d);                   // in this order; never blocks
///         }
///     }
///
/// Not for several threads.

#include "station/bench_options.h"
#include "station/device.h"
#include "station/events.h"
#include "station/report.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace vandrel::station {

/// Numbers one run of the tool on a device, from 1. After the run is over, its inputs are ignored,
/// except the `process_ended` of a tool that was given up.
using tool_id = std::uint64_t;

/// Numbers one list, from 1. After the list has ended, its inputs are ignored.
using list_id = std::uint64_t;

// What has happened.

/// A list is complete, with the properties that were asked for, as far as they could be had.
struct list_arrived {
    list_id list = 0;
    std::vector<listed_device> devices;
};

/// A list goes on: the ECIDs have come, or one more device has its properties or is listed without
/// them. The list's time begins anew.
struct list_continued {
    list_id list = 0;
};

/// There is no list: its process could not be started, ended without one, or wrote something else.
/// Also the answer to `end_list`, once its processes have gone.
struct list_not_had {
    list_id list = 0;
    list_failure why = list_failure::no_list;
    std::string text;
};

/// The folder of bundles has been looked into again: these can be used now, the newest first.
/// Devices that are considered from now on get one of them.
struct bundles_read {
    bundle_list bundles;
};

/// The host has announced a new USB device.
struct usb_arrival {};

struct lock_obtained {
    std::string ecid;
};

struct lock_held {
    std::string ecid;
    /// The process that holds it; absent when that is not known.
    std::optional<std::int64_t> holder;
};

/// What was typed; absent at the end of the file.
struct consent_answer {
    std::optional<std::string> line;
};

struct tool_not_started {
    tool_id tool = 0;
    std::string text;
};

/// A `RestoreStatus` record.
struct report_arrived {
    tool_id tool = 0;
    restore_report report;
};

/// A `CommandSuccess` record, which completes `recover`.
struct command_succeeded {
    tool_id tool = 0;
};

/// An `InternalError` record.
struct internal_error {
    tool_id tool = 0;
    error_details error;
};

/// A record that is too large, cut short or not to be understood.
struct record_unreadable {
    tool_id tool = 0;
};

struct process_ended {
    tool_id tool = 0;
    /// As the tool gave it. After a signal or a crash it is not 0.
    std::int64_t exit_status = 0;
};

struct stream_ended {
    tool_id tool = 0;
};

/// Ctrl-C, or Ctrl-Break on Windows.
struct user_cancelled {};

/// The window is closed, the user logs off, the computer shuts down, or the station cannot go on
/// because of an error of its own. On POSIX also SIGTERM and SIGHUP.
struct session_ends {};

/// The run's own record has a hole.
struct log_has_hole {
    std::string text;
};

/// The answer to `write_record`, after the `log_has_hole` that came with it.
struct record_written {};

using input =
    std::variant<list_arrived, list_continued, list_not_had, bundles_read, usb_arrival,
                 lock_obtained, lock_held, consent_answer, tool_not_started, report_arrived,
                 command_succeeded, internal_error, record_unreadable, process_ended, stream_ended,
                 user_cancelled, session_ends, log_has_hole, record_written>;

// What is to be done.

/// Run `vandrel --list-devices`, then ask for the properties of each device in the list but these.
struct start_list {
    list_id list = 0;
    std::vector<std::string> without_properties;
};

/// End the processes of the list. Another list begins after its `list_not_had`, or after
/// `bench_times::list_limit` without it.
struct end_list {
    list_id list = 0;
};

/// Answered by `lock_obtained` or `lock_held`.
struct lock_device {
    std::string ecid;
};

struct unlock_device {
    std::string ecid;
};

/// Ask; answered by `consent_answer`.
struct ask_consent {
    bool erase = false;
    bool watch = false;
    /// Those that will be worked on, and those that are left alone, both in the order of their
    /// ECIDs.
    std::vector<listed_device> devices;
    struct left_out {
        listed_device device;
        device_left_alone why;
    };
    std::vector<left_out> left_alone;
    /// What has to be typed: the number of devices, "ERASE" or "y".
    std::string wanted;
};

/// With `dry_run`: what would be asked. The run is over then.
struct show_choice : ask_consent {};

/// Run the tool on the device.
struct start_tool {
    tool_id tool = 0;
    std::string ecid;
    /// From 1 in each visit of a device.
    int try_number = 1;
    /// From 1; more than 1 only in a watch.
    int visit = 1;
    /// Of a folder of bundles; null otherwise.
    std::shared_ptr<const bundle> with = {};
};

enum class end_tool_why { linger, silence, time_limit, user };

/// End the process. What it still writes is still read.
struct end_tool {
    tool_id tool = 0;
    std::string ecid;
    end_tool_why why = end_tool_why::user;
};

/// Nothing is awaited from this run any more: close its pipe, if it is open, and remove its folder.
struct tool_over {
    tool_id tool = 0;
    std::string ecid;
};

/// The process has not gone. Do not wait for it, not even at the end; `process_ended` is still
/// wanted should it go after all.
struct give_up_tool {
    tool_id tool = 0;
    std::string ecid;
};

struct log_event {
    event what;
};

/// All devices have ended. Write what was logged so far, and answer with `record_written`, also
/// when it cannot be written: the exit status depends on it. Until then, only a hole in the
/// record and the end of the session still count.
struct write_record {};

/// The last decision. Tools that are still there end with the station.
struct run_over {
    int exit_status = 0;
};

using decision =
    std::variant<start_list, end_list, lock_device, unlock_device, ask_consent, show_choice,
                 start_tool, end_tool, tool_over, give_up_tool, log_event, write_record, run_over>;

class bench_run;

class bench {
public:
    /// The caller takes a turn at least this often, also when nothing has happened, because the
    /// limits are looked at in turns. A gap of over `bench_times::clock_gap` means that the
    /// computer stood still.
    static constexpr awake_time turn_interval{250};

    explicit bench(bench_options options);
    ~bench();
    bench(const bench&) = delete;
    bench& operator=(const bench&) = delete;

    /// `now` is the caller's awake time, from any start. Takes in `happened` in its order until the
    /// run is over, except that `user_cancelled` comes last. Limits are checked after that:
    /// a report in the turn in which a silence gets too long still ends the silence, and a
    /// completing one in the turn of any limit still counts. The first turn begins the run. After
    /// `run_over` nothing is decided any more.
    std::vector<decision> turn(awake_time now, std::span<const input> happened);

    /// Whether a tool runs on a device: the computer is kept from sleeping then.
    bool working() const;

    /// The counts so far.
    counts totals() const;

private:
    std::unique_ptr<bench_run> run_;
};

/// The exit status of a command that ends without a bench, because it cannot be done.
enum class early_exit { usage = 2, cannot_work = 4 };

} // namespace vandrel::station
