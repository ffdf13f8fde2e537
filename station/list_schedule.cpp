#include "station/list_schedule.h"

namespace vandrel::station {

std::optional<list_id> list_schedule::begin(awake_time now, std::optional<awake_time> every) {
    const bool due = wanted_ || (every && (!last_begun_ || now - *last_begun_ >= *every));
    const bool too_soon =
        last_tool_start_ && now - *last_tool_start_ < options_.times.list_after_start;
    if (!due || too_soon || current_) {
        return std::nullopt;
    }
    wanted_ = false;
    last_begun_ = now;
    current_ = {++last_, now, false};
    return last_;
}

std::optional<list_id> list_schedule::overdue(awake_time now) {
    if (!current_ || now - current_->since < options_.times.list_limit) {
        return std::nullopt;
    }
    if (current_->given_up) {
        // Its process has still not ended: it is left to itself.
        current_.reset();
        return std::nullopt;
    }
    current_->given_up = true;
    current_->since = now;
    return current_->number;
}

void list_schedule::continued(list_id number, awake_time now) {
    if (current() == number) {
        current_->since = now;
    }
}

bool list_schedule::ended(list_id number) {
    if (!current_ || current_->number != number) {
        return false;
    }
    const bool awaited = !current_->given_up;
    current_.reset();
    return awaited;
}

std::optional<list_id> list_schedule::current() const {
    if (!current_ || current_->given_up) {
        return std::nullopt;
    }
    return current_->number;
}

} // namespace vandrel::station
