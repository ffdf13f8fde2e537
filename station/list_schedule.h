#pragma once

/// When the list of devices is asked for: one list at a time, and none soon after a tool's start.

#include "station/bench.h"
#include "station/bench_options.h"

#include <optional>

namespace vandrel::station {

class list_schedule {
public:
    explicit list_schedule(const bench_options& options) : options_(options) {}

    /// A list is wanted as soon as one may be asked for.
    void want() { wanted_ = true; }

    void tool_started(awake_time now) { last_tool_start_ = now; }

    /// The number of the list to begin now, if one is due and may begin. With `every`, the first
    /// one is due at once, and each later one that long after the one before it began.
    std::optional<list_id> begin(awake_time now, std::optional<awake_time> every);

    /// The number of the list that has taken too long; given once for each list.
    std::optional<list_id> overdue(awake_time now);

    /// The list goes on, and its time begins anew.
    void continued(list_id number, awake_time now);

    /// The list has ended, with or without a result. True if its result is still wanted.
    bool ended(list_id number);

    /// Whether one is under way, also one that has taken too long and has not ended yet.
    bool under_way() const { return current_.has_value(); }
    /// The one that is under way and has not taken too long.
    std::optional<list_id> current() const;

    /// The last one that was begun; 0 before the first.
    list_id last() const { return last_; }
    /// When it was begun. Not to be called before the first.
    awake_time last_begun() const { return *last_begun_; }

private:
    struct list {
        list_id number;
        awake_time since;
        bool given_up;
    };

    const bench_options& options_;
    bool wanted_ = false;
    std::optional<list> current_;
    list_id last_ = 0;
    std::optional<awake_time> last_begun_;
    std::optional<awake_time> last_tool_start_;
};

} // namespace vandrel::station
