#include "station/event_json.h"

#include "station/bundle.h"
#include "station/event_text.h"
#include "station/text.h"

#include <boost/json/array.hpp>
#include <boost/json/monotonic_resource.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/value.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace vandrel::station {

namespace {

using boost::json::object;

struct body_writer {
    object& to;
    awake_time t;

    void operator()(const run_started& body) const {
        to["command"] = name_of(body.what);
        to["erase"] = body.erase;
        to["watch"] = body.watch;
    }
    void operator()(const device_found& body) const {
        if (body.properties) {
            for (auto& [key, value] : json_of(*body.properties)) {
                to[key] = value;
            }
        }
    }
    void operator()(const device_left_alone& body) const {
        to["reason"] = name_of(body.reason);
        if (body.holder) {
            to["holder"] = *body.holder;
        }
    }
    void operator()(const try_started& body) const {
        if (body.with) {
            add_bundle(to, *body.with);
        }
    }
    void operator()(const operation& body) const { add_operation(to, body); }
    void operator()(const progress& body) const { add_operation(to, body); }
    void operator()(const quiet& body) const {
        to["never_began"] = body.never_began;
        to["silent_s"] = seconds_of(t - body.since);
    }
    void operator()(const quiet_over&) const {}
    void operator()(const device_away&) const {}
    void operator()(const device_back&) const {}
    void operator()(const failure_reported& body) const {
        add_operation(to, body.where);
        to["status"] = json_text(body.status);
        add_error(body.error);
    }
    void operator()(const warning& body) const {
        to["kind"] = name_of(body.kind);
        if (body.where) {
            add_operation(to, *body.where);
        }
        add_error(body.error);
        if (body.exit_status) {
            to["exit_status"] = *body.exit_status;
        }
    }
    void operator()(const try_ended& body) const {
        add_try(to, body);
        to["will_retry"] = body.will_retry;
    }
    void operator()(const device_ended& body) const {
        if (body.last_try) {
            add_try(to, *body.last_try);
        }
        to["state"] = name_of(body.state);
        to["reason"] = name_of(body.reason);
        to["tries"] = body.tries;
    }
    void operator()(const list_failed& body) const {
        to["reason"] = name_of(body.why);
        if (!body.text.empty()) {
            to["text"] = json_text(body.text);
        }
    }
    void operator()(const clock_gap& body) const { to["length_s"] = seconds_of(body.length); }
    void operator()(const log_incomplete& body) const { to["text"] = json_text(body.text); }
    void operator()(const stopped_after& body) const { to["failures"] = body.failures; }
    void operator()(const cancel& body) const {
        to["stage"] = body.stage;
        if (!body.writing_firmware.empty()) {
            std::vector<std::string> ecids;
            for (const event_device& each : body.writing_firmware) {
                ecids.push_back(each.ecid);
            }
            to["writing_firmware"] = json_texts(ecids);
        }
    }
    void operator()(const run_ended& body) const {
        to["counts"] = json_of(body.totals);
        to["exit_status"] = body.exit_status;
    }

private:
    void add_error(const std::optional<error_details>& error) const {
        if (error) {
            to["error"] = json_of(*error);
        }
    }
};

void add_device(object& line, const event_device& device) {
    if (!device.ecid.empty()) {
        line["ecid"] = device.ecid;
    } else {
        line["serial_number"] = json_text(device.serial_number);
    }
    if (!device.slot.empty()) {
        line["slot"] = json_text(device.slot);
    }
    if (device.location_id != 0) {
        line["location"] = location_text(device.location_id);
    }
    if (device.try_number != 0) {
        line["try"] = device.try_number;
    }
}

void append_escaped(std::string& to, char32_t code) {
    if (code < 0x10000) {
        to += fmt::format("\\u{:04x}", static_cast<unsigned>(code));
        return;
    }
    const unsigned offset = static_cast<unsigned>(code) - 0x10000;
    to += fmt::format("\\u{:04x}\\u{:04x}", 0xD800 + (offset >> 10U), 0xDC00 + (offset & 0x3FFU));
}

} // namespace

double seconds_of(awake_time time) {
    return static_cast<double>(time.count()) / 1000;
}

std::string json_text(std::string_view text) {
    return printable(text);
}

boost::json::array json_texts(const std::vector<std::string>& texts) {
    boost::json::array result;
    for (const std::string& each : texts) {
        result.emplace_back(json_text(each));
    }
    return result;
}

std::string ascii_json(const boost::json::value& value) {
    // The text is valid UTF-8, and characters outside ASCII occur in its strings only.
    std::string text = boost::json::serialize(value);
    const auto is_ascii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
    if (std::ranges::all_of(text, is_ascii)) {
        return text;
    }
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0;;) {
        const auto rest =
            std::find_if_not(text.begin() + static_cast<std::ptrdiff_t>(i), text.end(), is_ascii);
        const auto end = static_cast<std::size_t>(rest - text.begin());
        result.append(text, i, end - i);
        i = end;
        if (i == text.size()) {
            return result;
        }
        const auto lead = static_cast<unsigned char>(text[i]);
        const std::size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
        char32_t code = lead & (0x7FU >> size);
        for (std::size_t k = 1; k < size; ++k) {
            code = code << 6U | (static_cast<unsigned char>(text[i + k]) & 0x3FU);
        }
        append_escaped(result, code);
        i += size;
    }
}

object json_of(const counts& totals) {
    return {{"chosen", totals.chosen},   {"restored", totals.restored},
            {"failed", totals.failed},   {"timed_out", totals.timed_out},
            {"stalled", totals.stalled}, {"cancelled", totals.cancelled},
            {"missing", totals.missing}, {"left_alone", totals.left_alone}};
}

object json_of(const error_details& error) {
    object result;
    if (!error.domain.empty()) {
        result["domain"] = json_text(error.domain);
    }
    if (error.code) {
        result["code"] = *error.code;
    }
    if (!error.text.empty()) {
        result["text"] = json_text(error.text);
    }
    return result;
}

object json_of(const device_properties& properties) {
    object result{{"chip_id", properties.chip_id}, {"board_id", properties.board_id}};
    const auto add = [&result](const char* key, const std::string& text) {
        if (!text.empty()) {
            result[key] = json_text(text);
        }
    };
    add("serial_number", properties.serial_number);
    add("product_string", properties.product_string);
    add("model", properties.model);
    return result;
}

void add_bundle(object& object, const bundle& what) {
    const auto add = [&object](const char* key, const std::string& text) {
        if (!text.empty()) {
            object[key] = json_text(text);
        }
    };
    add("bundle", text_of(what.path));
    add("bundle_version", what.version);
    add("bundle_build", what.build);
}

void add_operation(object& object, const operation_progress& where) {
    object["operation"] = where.operation;
    if (!where.name.empty()) {
        object["operation_name"] = json_text(where.name);
    }
    object["progress"] = where.progress;
}

void add_try(object& object, const try_result& result) {
    object["state"] = name_of(result.state);
    object["reason"] = name_of(result.reason);
    object["ended_by"] = name_of(result.by);
    if (result.exit_status) {
        object["exit_status"] = *result.exit_status;
    }
    object["duration_s"] = seconds_of(result.duration);
    if (result.error) {
        object["error"] = json_of(*result.error);
    }
    if (result.last_operation) {
        add_operation(object, *result.last_operation);
    }
    object["unreadable_records"] = result.unreadable_records;
}

std::string json_line(const event& what, const run_facts& facts,
                      std::chrono::system_clock::time_point time, std::optional<awake_time> left) {
    const event_text text = describe(what);
    // Most lines need no other memory for their object, and have at most 18 keys: an object with
    // room for more would have an index, which takes longer than it saves.
    std::array<unsigned char, 4096> memory;
    boost::json::monotonic_resource resource(memory.data(), memory.size());
    object line({{"v", 1},
                 {"seq", what.seq},
                 {"time", rfc3339(time)},
                 {"t", seconds_of(what.t)},
                 {"run", json_text(facts.run)},
                 {"event", name_of(what.body)},
                 {"level", name_of(what.level)}},
                18, &resource);
    if (what.device) {
        add_device(line, *what.device);
    }
    std::visit(body_writer{line, what.t}, what.body);
    if (left) {
        line["left_s"] = seconds_of(*left);
    }
    line["message"] = json_text(text.text.empty() ? text.word : text.word + ": " + text.text);
    if (!facts.tags.empty()) {
        object tags;
        for (const auto& [key, value] : facts.tags) {
            tags[std::string_view(json_text(key))] = json_text(value);
        }
        line["tags"] = std::move(tags);
    }
    return ascii_json(std::move(line)) + "\n";
}

} // namespace vandrel::station
