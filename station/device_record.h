#pragma once

/// What the bench knows of one device that was asked for.

#include "station/bench.h"
#include "station/bundle_choice.h"
#include "station/device.h"
#include "station/events.h"
#include "station/tool_run.h"

#include <memory>
#include <optional>
#include <string>

namespace vandrel::station {

enum class stage {
    /// Fits; its lock is awaited.
    locking,
    /// Chosen and locked; it is begun when its turn comes.
    waiting,
    running,
    /// Waits for its next try.
    retrying,
    /// Its final state is known. A new visit can change it, and a device that was left alone can be
    /// considered again.
    ended,
};

struct final_verdict {
    final_state state;
    end_reason reason;
};

struct device_record {
    /// Empty for one that was named by its serial number and never seen.
    std::string ecid;
    std::optional<device_properties> properties;
    /// Asked for by ECID or serial number, not only by `all`.
    bool named = false;

    stage at = stage::locking;
    /// With stage::ended.
    std::optional<final_verdict> verdict;
    bool locked = false;
    /// The process of the other station, when this device is left to it.
    std::optional<std::int64_t> holder;
    /// With a folder of bundles: those that were for the device when it was considered, the newest
    /// first. The device gets the first.
    bundle_list bundles;
    /// Not to be touched again in this run.
    bool barred = false;

    int visit = 1;
    int tries = 0;
    std::optional<try_result> last_try;

    // The tool, with stage::running.
    tool_id tool = 0;
    std::optional<tool_run> run;

    // Whether it is there. Lists that were begun before its tool was over say nothing.
    list_id ignore_through = 0;
    bool present = true;
    awake_time away_since{};
    int lists_without = 0;
    int lists_with = 0;
    bool visit_over = false;
    /// When the process of the last try ended, and when the device ended.
    awake_time process_gone{};
    awake_time ended_at{};

    bool restored() const { return verdict && verdict->state == final_state::restored; }
    /// null without a folder of bundles.
    std::shared_ptr<const bundle> with() const {
        return bundles.empty() ? nullptr : bundles.front();
    }
    bool left_alone_for(end_reason reason) const {
        return verdict && verdict->state == final_state::left_alone && verdict->reason == reason;
    }
};

/// Of an event.
event_device whom(const device_record& device);

/// Whether the device was restored and is back too soon to have started. To be asked when a list
/// shows a device that the last did not.
bool came_back(const device_record& device, const bench_times& times, awake_time now);

/// Whether the device was restored and lists have shown it for so long since that it did not start.
/// To be asked when a list that was begun at `list_begun` shows it.
bool never_left(const device_record& device, const bench_times& times, awake_time list_begun);

/// Whether the lists say that a device without a tool has left.
bool has_left(const device_record& device, const bench_times& times, awake_time now);

/// Whether a device that waits for its next try may be begun, and whether it has waited too long.
bool ready_again(const device_record& device, const bench_times& times, awake_time now);
bool not_back(const device_record& device, const bench_times& times, awake_time now);

} // namespace vandrel::station
