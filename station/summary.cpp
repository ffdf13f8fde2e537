#include "station/summary.h"

#include "station/bench.h"
#include "station/bundle.h"
#include "station/event_json.h"
#include "station/event_text.h"
#include "station/run_folder.h"
#include "station/text.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace vandrel::station {

namespace {

template<class Value>
std::string optional_number(const std::optional<Value>& value) {
    return value ? fmt::format("{}", *value) : std::string();
}

/// Joins texts that need no quoting, or are quoted already.
std::string line(const std::vector<std::string>& fields) {
    std::string result;
    for (const std::string& each : fields) {
        result += each + ",";
    }
    result.pop_back();
    return result + "\r\n";
}

} // namespace

std::string csv_field(const std::string& text) {
    std::string field = printable(text);
    if (!field.empty() && std::string_view("=+-@").find(field.front()) != std::string_view::npos) {
        field.insert(0, "'");
    }
    if (field.find_first_of(",\"") == std::string::npos) {
        return field;
    }
    std::string quoted = "\"";
    for (const char c : field) {
        quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    }
    return quoted + '"';
}

summary::row& summary::row_of(const event_device& device, bool new_visit) {
    const auto last = std::ranges::find_if(rows_.rbegin(), rows_.rend(), [&](const row& each) {
        // A device that was never seen may be known by its serial number only.
        return each.device.ecid == device.ecid &&
               (!device.ecid.empty() || each.device.serial_number == device.serial_number);
    });
    if (last == rows_.rend() || (new_visit && last->ended)) {
        rows_.push_back({device, {}, {}, {}, {}, 1, {}});
        return rows_.back();
    }
    if (device.location_id != 0) {
        last->device = device;
    }
    return *last;
}

const std::string& summary::serial_number_of(const row& each) {
    return each.properties ? each.properties->serial_number : each.device.serial_number;
}

void summary::take(const event& what, std::chrono::system_clock::time_point time) {
    if (const auto* ended = std::get_if<run_ended>(&what.body)) {
        ended_ = *ended;
        ended_at_ = time;
    }
    if (!what.device) {
        return;
    }
    const auto* found = std::get_if<device_found>(&what.body);
    row& its = row_of(*what.device, found != nullptr);
    if (found != nullptr) {
        its.properties = found->properties;
        its.visit = ++visits_[what.device->ecid];
    } else if (const auto* started = std::get_if<try_started>(&what.body)) {
        its.with = started->with;
        // A device that was left alone can be worked on now.
        its.ended.reset();
        its.holder.reset();
    } else if (const auto* left = std::get_if<device_left_alone>(&what.body)) {
        its.holder = left->holder;
        its.ended = device_ended{final_state::left_alone, left->reason, 0, {}};
        its.ended_at = time;
    } else if (const auto* ended = std::get_if<device_ended>(&what.body)) {
        its.ended = *ended;
        its.ended_at = time;
    }
}

std::size_t summary::left_alone_for(end_reason reason) const {
    return static_cast<std::size_t>(std::ranges::count_if(rows_, [&](const row& each) {
        return each.ended && each.ended->state == final_state::left_alone &&
               each.ended->reason == reason;
    }));
}

std::string summary::refusal_text() const {
    constexpr int refused = static_cast<int>(early_exit::usage);
    constexpr int cannot_work = static_cast<int>(early_exit::cannot_work);
    constexpr int no_device = 3;
    if (!ended_) {
        return {};
    }
    const std::size_t chosen = left_alone_for(end_reason::not_begun);
    switch (ended_->exit_status) {
    case refused:
        return (facts_.expected && *facts_.expected != chosen
                    ? fmt::format("{} {} chosen, and --expect says {}", number_of(chosen, "device"),
                                  chosen == 1 ? "is" : "are", *facts_.expected)
                    : std::string("nobody consented")) +
               "; nothing was touched";
    case no_device:
        if (left_alone_for(end_reason::no_bundle) != 0) {
            return "no bundle in the folder is for what was chosen; nothing was touched";
        }
        return left_alone_for(end_reason::unfit) != 0
                   ? "the bundle is not for what was chosen; nothing was touched"
                   : "there is no device to work on";
    case cannot_work:
        return left_alone_for(end_reason::no_room) != 0
                   ? "the scratch folder has no room for a bundle; nothing was touched"
                   : "the tool gave no list of devices; nothing was touched";
    default:
        return {};
    }
}

std::vector<const summary::row*> summary::rows_in(std::initializer_list<final_state> states) const {
    std::vector<const row*> result;
    for (const row& each : rows_) {
        if (each.ended && each.ended->reason != end_reason::not_begun &&
            std::ranges::find(states, each.ended->state) != states.end()) {
            result.push_back(&each);
        }
    }
    return result;
}

std::string summary::describe_row(const row& each) {
    event what;
    if (each.ended->state == final_state::left_alone) {
        what.body = device_left_alone{each.ended->reason, each.holder};
        return describe(what).text;
    }
    return describe_end(each.ended->reason,
                        each.ended->last_try ? &*each.ended->last_try : nullptr);
}

void summary::add_text(std::string& to, const std::string& title,
                       const std::vector<const row*>& rows) const {
    if (rows.empty()) {
        return;
    }
    to += fmt::format("\n{} ({})\n", title, rows.size());
    for (const row* each : rows) {
        const device_ended& end = *each->ended;
        const std::string& serial = serial_number_of(*each);
        to += fmt::format("  {:<4} {} {:<12} {}", place_of(each->device), each->device.ecid,
                          printable(serial), describe_row(*each));
        if (end.last_try) {
            to += fmt::format(", after {}, {} {}", hours_minutes_seconds(end.last_try->duration),
                              end.tries, end.tries == 1 ? "try" : "tries");
        }
        to += "\n";
        if (const std::string advice = advice_for(end.reason); !advice.empty()) {
            to += "       " + advice + "\n";
        }
        if (end.tries > 0 && end.state != final_state::restored &&
            end.reason != end_reason::tool_not_started && !facts_.folder.empty()) {
            to += "       Log: " +
                  printable(text_of(path_of(facts_.folder) /
                                    try_folder(each->device.ecid, each->visit, end.tries))) +
                  "\n";
        }
    }
}

std::string summary::text() const {
    std::string result;
    const bool restores = facts_.command == name_of(command::restore);
    add_text(result, restores ? "NOT RESTORED" : "NOT DONE",
             rows_in({final_state::failed, final_state::timed_out, final_state::stalled,
                      final_state::cancelled, final_state::missing}));
    add_text(result, "Left alone", rows_in({final_state::left_alone}));
    add_text(result, restores ? "Restored" : "Done", rows_in({final_state::restored}));
    if (ended_) {
        result += fmt::format("\n{} of {} {}. Status {}.\n", ended_->totals.restored,
                              number_of(ended_->totals.chosen, "device"),
                              restores ? "restored" : "done", ended_->exit_status);
    }
    if (!facts_.folder.empty()) {
        result += "Logs: " + printable(facts_.folder) + "\n";
    }
    return result;
}

boost::json::object summary::json_of_row(const row& each) {
    boost::json::object device;
    if (!each.device.ecid.empty()) {
        device["ecid"] = each.device.ecid;
    } else {
        device["serial_number"] = json_text(each.device.serial_number);
    }
    if (!each.device.slot.empty()) {
        device["slot"] = json_text(each.device.slot);
    }
    if (each.device.location_id != 0) {
        device["location"] = location_text(each.device.location_id);
    }
    if (each.properties) {
        for (auto& [key, value] : json_of(*each.properties)) {
            device[key] = value;
        }
    }
    if (each.ended) {
        if (each.ended->last_try) {
            add_try(device, *each.ended->last_try);
        }
        device["state"] = name_of(each.ended->state);
        device["reason"] = name_of(each.ended->reason);
        device["tries"] = each.ended->tries;
        device["ended"] = rfc3339(each.ended_at);
    } else {
        device["state"] = "running";
    }
    if (each.holder) {
        device["holder"] = *each.holder;
    }
    if (each.with) {
        add_bundle(device, *each.with);
    }
    return device;
}

std::string summary::json() const {
    boost::json::object root{{"v", 1},
                             {"state", ended_ ? "ended" : "running"},
                             {"run", json_text(facts_.run)},
                             {"version", facts_.version},
                             {"command", facts_.command},
                             {"erase", facts_.erase},
                             {"started", rfc3339(facts_.started)}};
    const auto add = [&root](const char* key, const std::string& text) {
        if (!text.empty()) {
            root[key] = json_text(text);
        }
    };
    add("bundle", facts_.bundle_path);
    add("bundle_version", facts_.bundle_version);
    add("bundle_build", facts_.bundle_build);
    if (ended_) {
        root["ended"] = rfc3339(ended_at_);
        root["counts"] = json_of(ended_->totals);
        root["exit_status"] = ended_->exit_status;
    }
    if (!facts_.tags.empty()) {
        boost::json::object tags;
        for (const auto& [key, value] : facts_.tags) {
            tags[std::string_view(json_text(key))] = json_text(value);
        }
        root["tags"] = tags;
    }
    boost::json::array devices;
    for (const row& each : rows_) {
        devices.push_back(json_of_row(each));
    }
    root["devices"] = std::move(devices);
    return ascii_json(std::move(root)) + "\n";
}

std::string summary::csv() const {
    std::string result =
        line({"ended", "ecid", "serial_number", "slot", "location", "model", "product_string",
              "state", "reason", "tries", "duration_s", "erase", "bundle_version", "bundle_build",
              "error_code", "error_domain", "operation", "progress", "run"});
    for (const row& each : rows_) {
        if (!each.ended) {
            continue;
        }
        const device_properties properties = each.properties.value_or(device_properties{});
        const try_result last = each.ended->last_try.value_or(try_result{});
        const error_details error = last.error.value_or(error_details{});
        const auto& where = last.last_operation;
        result +=
            line({rfc3339(each.ended_at), each.device.ecid, csv_field(serial_number_of(each)),
                  csv_field(each.device.slot),
                  each.device.location_id != 0 ? location_text(each.device.location_id) : "",
                  csv_field(properties.model), csv_field(properties.product_string),
                  std::string(name_of(each.ended->state)), std::string(name_of(each.ended->reason)),
                  std::to_string(each.ended->tries),
                  fmt::format("{:.3f}", seconds_of(last.duration)), facts_.erase ? "yes" : "no",
                  csv_field(each.with ? each.with->version : facts_.bundle_version),
                  csv_field(each.with ? each.with->build : facts_.bundle_build),
                  optional_number(error.code), csv_field(error.domain),
                  where ? csv_field(where->name) : "", where ? std::to_string(where->progress) : "",
                  csv_field(facts_.run)});
    }
    return result;
}

} // namespace vandrel::station
