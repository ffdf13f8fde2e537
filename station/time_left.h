#pragma once

/// How long running restores will still take, by how long earlier ones of the same kind took.

#include "station/events.h"
#include "station/history.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vandrel::station {

/// Follows the events of a run. No clock and no file is in here. One thread.
class time_left {
public:
    /// `earlier` has the oldest try first. `build` is that of the bundle for all devices; empty
    /// with a folder of bundles, or when it is not known.
    time_left(const std::vector<restored_try>& earlier, std::string build, bool erases);

    /// When this event ends a try that has restored its device: what is to be kept of the try.
    /// Nothing when the device's chip or the bundle's build is not known, or the try reported no
    /// operation.
    std::optional<restored_try> take(const event& what);

    /// What is left of the device's running operation, plus the usual times of the operations that
    /// follow. These are the ones that followed it in the newest earlier try of this kind that had
    /// it. `now` is the time since the start, as in events. Nothing for a device without a running
    /// operation, and if no earlier try of this kind had this operation as often as this try has
    /// had it by now. Never negative.
    std::optional<awake_time> of(const std::string& ecid, awake_time now) const;

private:
    /// An operation, and how often it came before in its try: some come several times.
    using step = std::pair<std::int32_t, std::size_t>;
    struct usual_time {
        awake_time itself{};
        /// Of all that follow it.
        awake_time rest{};
    };
    struct running_try {
        restore_kind kind;
        std::vector<operation_time> before;
        std::optional<step> now;
        awake_time since{};
        std::int64_t progress = 0;
    };

    static std::vector<step> steps_of(const restored_try& each);
    void learn(const restore_kind& kind, const std::vector<const restored_try*>& tries);
    void begin(running_try& its, const operation_progress& what, awake_time t);

    std::map<restore_kind, std::map<step, usual_time>> usual_;
    std::string build_;
    bool erases_;
    /// By ECID.
    std::map<std::string, device_properties> devices_;
    std::map<std::string, running_try> running_;
};

} // namespace vandrel::station
