#include "station/live_view.h"

#include "station/event_text.h"
#include "station/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <utility>

namespace vandrel::station {

namespace {

/// Devices with a slot first. Numbers in the slot count as numbers, so that A2 comes before A10.
std::string order_of(const event_device& device) {
    std::string slot;
    for (std::size_t i = 0; i < device.slot.size();) {
        std::size_t end = i;
        while (end < device.slot.size() &&
               std::isdigit(static_cast<unsigned char>(device.slot[end])) != 0) {
            ++end;
        }
        if (end > i) {
            slot += fmt::format("{:0>10}", device.slot.substr(i, end - i));
            i = end;
        } else {
            slot += device.slot[i++];
        }
    }
    return fmt::format("{}{}\n{:08x}{}{}", slot.empty() ? 1 : 0, slot, device.location_id,
                       device.ecid, device.serial_number);
}

std::string name_of_operation(const operation_progress& where) {
    return where.name.empty() || where.name == "Unknown"
               ? fmt::format("operation {}", where.operation)
               : printable(where.name);
}

/// " in Restoring image 42%".
std::string short_where(const std::optional<operation_progress>& where) {
    return where ? fmt::format(" in {} {}%", name_of_operation(*where), where->progress)
                 : std::string();
}

std::string short_error(const std::optional<error_details>& error) {
    return error && error->code ? fmt::format(" {}", *error->code) : std::string();
}

/// How a device ended, in half a line.
std::string short_end(const device_ended& body) {
    const std::string word = word_of(body.state);
    const std::optional<operation_progress> where =
        body.last_try ? body.last_try->last_operation : std::nullopt;
    switch (body.reason) {
    case end_reason::device_error:
    case end_reason::tool_error:
        return word + short_error(body.last_try ? body.last_try->error : std::nullopt) +
               short_where(where);
    case end_reason::time_limit:
    case end_reason::silence:
    case end_reason::user:
        return word + short_where(where);
    default:
        return word + " " + describe_end(body.reason, body.last_try ? &*body.last_try : nullptr);
    }
}

std::string short_end(const device_left_alone& body) {
    if (body.reason == end_reason::held && body.holder) {
        return fmt::format("left alone: process {} works on it", *body.holder);
    }
    return "left alone: " + describe_end(body.reason, nullptr);
}

/// Whether someone should look at it: its word is in capitals. Three are left out: a cancel, which
/// the hint shows; a reported failure, which the end of its try soon follows; and the end of a last
/// try, which the end of its device follows.
bool is_loud(const event& what, const event_text& text) {
    if (const auto* ended = std::get_if<try_ended>(&what.body)) {
        return ended->will_retry;
    }
    return !text.word.empty() && text.word[0] >= 'A' && text.word[0] <= 'Z' &&
           !std::holds_alternative<cancel>(what.body) &&
           !std::holds_alternative<failure_reported>(what.body);
}

} // namespace

struct live_view::taker {
    live_view& view;
    row& it;

    void begin(row_kind kind, std::string text) const {
        it.kind = kind;
        it.text = std::move(text);
        it.progress.reset();
        it.quiet_since.reset();
        it.took.reset();
    }

    void operator()(const device_found& body) const {
        begin(row_kind::waiting, "waiting");
        it.state.reset();
        it.is_replaced = false;
        if (body.properties) {
            it.model = printable(body.properties->model);
        }
        view.replace_others(it);
    }
    void operator()(const device_left_alone& body) const {
        begin(row_kind::left_alone, short_end(body));
        it.state = final_state::left_alone;
    }
    void operator()(const try_started&) const {
        begin(row_kind::running, "started");
        it.state.reset();
        it.is_replaced = false;
        view.has_begun_ = true;
        view.replace_others(it);
    }
    void report(const operation_progress& where) const {
        if (it.kind == row_kind::running) {
            it.text = name_of_operation(where);
            it.progress = where.progress;
        }
    }
    void operator()(const operation& body) const { report(body); }
    void operator()(const progress& body) const { report(body); }
    void operator()(const quiet& body) const {
        if (it.kind == row_kind::running) {
            it.kind = row_kind::quiet;
            it.quiet_since = body.since;
        }
    }
    void operator()(const quiet_over&) const {
        if (it.kind == row_kind::quiet) {
            it.kind = row_kind::running;
            it.quiet_since.reset();
        }
    }
    void operator()(const device_away&) const {
        if (it.kind == row_kind::waiting) {
            it.text = "not in the last list";
        }
    }
    void operator()(const device_back&) const {
        if (it.kind == row_kind::waiting) {
            it.text = "waiting";
        }
    }
    void operator()(const failure_reported& body) const {
        begin(row_kind::failing, "FAILING" + short_error(body.error) + short_where(body.where));
    }
    void operator()(const try_ended& body) const {
        if (body.will_retry) {
            begin(row_kind::waiting, "waits for its next try");
        }
    }
    void operator()(const device_ended& body) const {
        const bool is_restored = body.state == final_state::restored;
        const bool is_restore = view.facts_.what == command::restore;
        begin(is_restored ? row_kind::restored : row_kind::failed, !is_restored ? short_end(body)
                                                                   : is_restore
                                                                       ? word_of(body.state)
                                                                       : "done");
        it.state = body.state;
        it.is_replaced = false;
        if (is_restored && body.last_try) {
            it.took = body.last_try->duration;
        }
    }
    template<class Other>
    void operator()(const Other&) const {}
};

void live_view::take(const event& what, std::chrono::seconds local_time) {
    if (const auto* gap = std::get_if<clock_gap>(&what.body)) {
        gaps_ += gap->length;
    } else if (const auto* cancelled = std::get_if<cancel>(&what.body)) {
        cancelled_ = *cancelled;
    }
    if (what.device) {
        row& it = row_of(*what.device);
        it.device = *what.device;
        it.order = order_of(it.device);
        std::visit(taker{*this, it}, what.body);
    }
    if (const event_text text = describe(what); is_loud(what, text)) {
        loud_.push_back(fmt::format("{} {}{} {}", hours_minutes_seconds(local_time),
                                    what.device ? place_or_ecid(*what.device) + " " : "", text.word,
                                    text.text));
        if (loud_.size() > most_loud) {
            loud_.pop_front();
        }
    }
}

std::string live_view::place_or_ecid(const event_device& device) {
    const std::string place = place_of(device);
    return place == "-" && !device.ecid.empty() ? printable(device.ecid) : place;
}

live_view::row& live_view::row_of(const event_device& device) {
    return devices_[device.ecid.empty() ? "serial number " + device.serial_number : device.ecid];
}

void live_view::replace_others(const row& newest) {
    if (newest.device.location_id == 0) {
        return;
    }
    for (auto& [ecid, each] : devices_) {
        if (each.state && each.device.location_id == newest.device.location_id) {
            each.is_replaced = true;
        }
    }
}

} // namespace vandrel::station
