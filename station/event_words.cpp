#include "station/events.h"

#include <array>

namespace vandrel::station {

namespace {

template<class Enum, std::size_t Size>
std::string_view word(const std::array<std::string_view, Size>& words, Enum value) {
    return words.at(static_cast<std::size_t>(value));
}

} // namespace

std::string_view name_of(const event_body& body) {
    constexpr std::array<std::string_view, std::variant_size_v<event_body>> words{
        "run_started",      "device_found",   "device_left_alone", "try_started",  "operation",
        "progress",         "quiet",          "quiet_over",        "device_away",  "device_back",
        "failure_reported", "warning",        "try_ended",         "device_ended", "list_failed",
        "clock_gap",        "log_incomplete", "stopped_after",     "cancel",       "run_ended"};
    return words.at(body.index());
}

std::string_view name_of(event_level level) {
    return word(std::array<std::string_view, 3>{"info", "warning", "error"}, level);
}

std::string_view name_of(final_state state) {
    return word(std::array<std::string_view, 7>{"restored", "failed", "timed_out", "stalled",
                                                "cancelled", "missing", "left_alone"},
                state);
}

std::string_view name_of(end_reason reason) {
    return word(
        std::array<std::string_view, 21>{
            "completed",        "device_error",  "tool_error", "no_completion", "tool_crashed",
            "tool_not_started", "tool_given_up", "not_back",   "came_back",     "time_limit",
            "silence",          "never_began",   "user",       "never_seen",    "unfit",
            "no_bundle",        "no_room",       "held",       "stopped",       "watch_over",
            "not_begun"},
        reason);
}

std::string_view name_of(ended_by by) {
    return word(std::array<std::string_view, 3>{"tool", "station", "user"}, by);
}

std::string_view name_of(command what) {
    return word(std::array<std::string_view, 3>{"restore", "recover_exit", "recover_stay"}, what);
}

std::string_view name_of(warning_kind kind) {
    return word(
        std::array<std::string_view, 3>{"error_in_report", "unreadable_record", "after_completion"},
        kind);
}

std::string_view name_of(list_failure why) {
    return word(std::array<std::string_view, 5>{"not_started", "no_list", "broken",
                                                "duplicate_ecid", "timed_out"},
                why);
}

} // namespace vandrel::station
