#pragma once

/// A run as a screen that is drawn again and again. Devices have rows in the order of their places,
/// so that a device's row stays where it is when its state changes.

#include "station/events.h"

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vandrel::station {

struct screen_size {
    std::size_t columns = 80;
    std::size_t rows = 24;

    bool operator==(const screen_size&) const = default;
};

/// What the view says about the run itself.
struct live_facts {
    command what = command::restore;
    bool erase = false;
    bool watch = false;
    /// Places are names rather than location numbers.
    bool has_slots = false;
    /// Of the bundle for all devices, such as "17.1 (21B80)"; empty without one.
    std::string version;
};

struct moment {
    /// The time of day here.
    std::chrono::seconds local_time{};
    /// Since the start of the run, with the gaps that the clock had.
    awake_time since_start{};
};

/// How long a device's restore will still take, at a time as in events; nothing when that is not
/// known.
using time_left_of = std::function<std::optional<awake_time>(const std::string& ecid, awake_time)>;

/// It has no clock, thread or terminal of its own. To be used by one thread.
class live_view {
public:
    /// `left` may be empty.
    explicit live_view(live_facts facts, time_left_of left = {})
        : facts_(std::move(facts)), left_(std::move(left)) {}

    /// `local_time` is the time of day here.
    void take(const event& what, std::chrono::seconds local_time);

    /// Whether a device was begun, so that there is something to look at.
    bool has_begun() const { return has_begun_; }

    /// The lines of the screen in printable characters, no more and no longer than it has room for.
    /// `colours`: some lines are within sequences that colour them.
    std::vector<std::string> frame(screen_size size, const moment& now, bool colours) const;

private:
    /// In the order in which rows are left out when there is no room for all.
    enum class row_kind { restored, left_alone, waiting, running, quiet, failing, failed };

    struct row {
        event_device device;
        /// By which rows are ordered.
        std::string order;
        std::string model;
        row_kind kind = row_kind::waiting;
        /// What it does, or how it ended.
        std::string text;
        std::optional<std::int64_t> progress;
        /// With row_kind::quiet: since when, as in `quiet::since`.
        std::optional<awake_time> quiet_since;
        /// How long the try took that succeeded.
        std::optional<awake_time> took;
        std::optional<final_state> state;
        /// Another device is in its place now.
        bool is_replaced = false;
    };
    struct line {
        std::string text;
        /// The sequence that turns it on; empty for none.
        std::string_view colour = {};
    };
    struct columns;
    struct taker;

    static constexpr std::size_t most_loud = 3;

    // live_view.cpp
    /// The place, or the ECID of a device without one.
    static std::string place_or_ecid(const event_device& device);
    row& row_of(const event_device& device);
    void replace_others(const row& newest);

    // live_frame.cpp
    line header(std::size_t width, const moment& now) const;
    static std::string titles(const columns& of);
    /// In their order, without those that are replaced.
    std::vector<const row*> rows() const;
    /// Leaves no more of `rows` than there is room for. Returns the line that stands for the
    /// others.
    static std::string fold(std::vector<const row*>& rows, std::size_t room);
    line row_line(const row& each, const columns& of, awake_time now) const;
    /// What the row has after the model.
    std::string doing(const row& each, const columns& of, awake_time now) const;
    /// How many devices have not ended, and how many there are.
    std::pair<std::size_t, std::size_t> progress_of_run() const;
    std::string totals() const;
    std::string hint() const;

    live_facts facts_;
    time_left_of left_;
    /// By ECID; those without one, by "serial number " and the serial number.
    std::map<std::string, row> devices_;
    /// The last lines that someone should look at.
    std::deque<std::string> loud_;
    /// The sum of all gaps that the clock had.
    awake_time gaps_{};
    cancel cancelled_{0, {}};
    bool has_begun_ = false;
};

} // namespace vandrel::station
