#pragma once

/// What a run is asked to do.

#include "station/bundle_choice.h"
#include "station/events.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vandrel::station {

/// The times that the rules are made of. Nobody has to change them; tests of whole programs make
/// them shorter.
struct bench_times {
    using time = awake_time;
    /// After so long without a record, the device is shown as quiet.
    time quiet = std::chrono::minutes(10);
    /// The first report is due by then.
    time never_began = std::chrono::minutes(5);
    /// So long after the first failing report the tool is ended, unless it has reported success.
    time linger_at_most = std::chrono::minutes(5);
    /// How long a tool may take to go when it is ended.
    time give_up = std::chrono::seconds(30);
    /// How long the stream may outlive the process.
    time stream_after_process = std::chrono::seconds(2);
    /// From the end of the old process to the next try, at least.
    time retry_pause = std::chrono::seconds(20);
    /// Two lists in a row must show the device again within this time, which begins when the old
    /// process ends or the device leaves, whichever is later.
    time retry_wait = std::chrono::minutes(5);
    /// While a device waits for its next try, a list is due this often, or as often as `poll` says
    /// if that is more often.
    time retry_poll = std::chrono::seconds(30);
    /// No list is begun for so long after a tool's start.
    time list_after_start = std::chrono::seconds(5);
    time list_limit = std::chrono::seconds(30);
    /// A visit ends when the device has been away for so long, and two lists in a row have
    /// not had it.
    time away = std::chrono::seconds(60);
    /// A restored device that has left and is back sooner did not start.
    time came_back = std::chrono::minutes(10);
    /// Nor did one that lists still show so long after its end.
    time stays = std::chrono::seconds(60);
    /// Two turns are never so far apart when nothing is wrong with the clock or the computer.
    time clock_gap = std::chrono::seconds(5);
    /// How long after the second Ctrl-C another one counts as the third.
    time third_cancel = std::chrono::seconds(10);
};

struct bench_options {
    command what = command::restore;
    /// Devices lose everything. Their number (`ERASE` for a watch) has to be typed, or `yes` given.
    bool erase = false;

    /// Which devices: these ECIDs (normalized); these ECIDs or serial numbers; all. Together they
    /// add up.
    std::set<std::string> ecids;
    std::set<std::string> only;
    bool all = false;

    /// What to restore with, the newest first; absent when no bundle is known, and then every
    /// device fits.
    std::optional<bundle_list> bundles;
    /// They are those of a folder. Each device gets the newest one for its chip, its board and the
    /// run's behaviour, as the folder is when the run finds the device.
    bool from_folder = false;
    /// The free bytes of the scratch folder; with from_folder.
    std::optional<std::uint64_t> room;
    /// Fewer restores run at once when their bundles together need more room; not if the user has
    /// said how many run.
    bool room_limits_tools = true;
    /// Works on devices of `ecids` that do not fit.
    bool any_bundle = false;

    bool yes = false;
    /// Whether there is a terminal on which to ask.
    bool terminal = false;
    bool dry_run = false;
    /// How many devices have to be chosen.
    std::optional<std::size_t> expect;

    bool watch = false;
    awake_time poll = std::chrono::seconds(30);
    /// A watch begins no more than so many devices.
    std::optional<std::size_t> count;
    /// `--for`: it begins no more devices after this.
    std::optional<awake_time> watch_time;

    std::size_t at_once = 8;
    awake_time stagger = std::chrono::seconds(2);
    int retries = 0;
    /// 0: never.
    std::size_t stop_after = 5;
    awake_time stall_timeout = std::chrono::minutes(30);
    awake_time linger = std::chrono::seconds(30);
    /// The station's own limit for each try. A little more than the tool's limit, if the station
    /// gives the tool one. With a file of restore options it gives none, and the tool keeps to 2
    /// hours; this limit is then 2 hours at most. None for `recover`.
    std::optional<awake_time> time_limit;

    bench_times times;
};

} // namespace vandrel::station
