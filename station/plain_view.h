#pragma once

/// A run as lines of text.

#include "station/bench.h"
#include "station/bundle.h"
#include "station/events.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vandrel::station {

/// One line for each event that is worth one. Progress is worth one when its tenth changes.
class plain_view {
public:
    /// `has_slots`: places are names rather than location numbers.
    plain_view(bool has_slots, command what) : place_width_(has_slots ? 4 : 10), command_(what) {}

    /// The event's line, with a line feed; empty when there is nothing to show. `local_time` is the
    /// time of day here.
    std::string line_for(const event& what, std::chrono::seconds local_time);

private:
    bool is_worth_a_line(const event& what);

    int place_width_;
    command command_;
    /// The last tenth that was shown, by ECID.
    std::map<std::string, std::int64_t> tenths_;
};

/// "UTC+01:00".
std::string zone_text(std::chrono::minutes ahead);

/// What the question says besides the devices.
struct question_facts {
    std::optional<bundle> made_for;
    std::string options_file;
    std::string scratch;
    std::uint64_t free_bytes = 0;
    std::size_t at_once = 0;
    /// Of bundles; empty without one.
    std::string folder = {};
    /// How many of its files cannot be used.
    std::size_t unusable_files = 0;
    /// With a folder: fewer run at once when there is room for fewer.
    bool room_limits_tools = true;
};

/// What will be done to which devices, and which are left alone; without the question itself.
std::string choice_text(const ask_consent& choice, command what, const question_facts& facts);

/// The question, which says what has to be typed, without a line feed.
std::string prompt_text(const ask_consent& choice);

/// Which column about bundles a list has: none; whether the bundle is for the device; the newest
/// bundle for it.
enum class bundle_column { none, fits, newest };

/// Place, ECID, serial number, chip, board and product string of each device, with titles; with a
/// column about bundles, also the model before it. Without devices, one sentence.
std::string device_table(const std::vector<listed_device>& devices, bundle_column column);

} // namespace vandrel::station
