#include "station/run_reader.h"

#include <boost/json/array.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string_view>
#include <utility>

namespace vandrel::station {

namespace {

using boost::json::object;

std::string clipped(std::string_view text) {
    if (text.size() <= run_reader::longest_text) {
        return std::string(text);
    }
    std::size_t size = run_reader::longest_text;
    // Not within a character.
    while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0U) == 0x80) {
        --size;
    }
    return std::string(text.substr(0, size)) + "...";
}

std::string text_in(const object& from, std::string_view key) {
    const auto* value = from.if_contains(key);
    return value != nullptr && value->is_string() ? clipped(value->get_string()) : std::string();
}

std::optional<std::int64_t> number_in(const object& from, std::string_view key) {
    const auto* value = from.if_contains(key);
    return value != nullptr && value->is_int64() ? std::optional(value->get_int64()) : std::nullopt;
}

std::optional<awake_time> seconds_in(const object& from, std::string_view key) {
    const auto* value = from.if_contains(key);
    if (value == nullptr || !value->is_number()) {
        return {};
    }
    const auto seconds = value->to_number<double>();
    constexpr double years = 1e9;
    if (!(seconds >= 0 && seconds <= years)) {
        return {};
    }
    return awake_time(std::llround(seconds * 1000));
}

const object* object_in(const object& from, std::string_view key) {
    const auto* value = from.if_contains(key);
    return value != nullptr ? value->if_object() : nullptr;
}

/// A text that is missing leaves what was known.
void renew(std::string& text, const object& from, std::string_view key) {
    if (std::string newer = text_in(from, key); !newer.empty()) {
        text = std::move(newer);
    }
}

std::string key_of(const object& device) {
    std::string ecid = text_in(device, "ecid");
    return ecid.empty() ? "serial number " + text_in(device, "serial_number") : ecid;
}

void take_properties(recorded_visit& its, const object& from) {
    renew(its.ecid, from, "ecid");
    renew(its.serial_number, from, "serial_number");
    renew(its.slot, from, "slot");
    renew(its.location, from, "location");
    renew(its.model, from, "model");
    renew(its.product_string, from, "product_string");
    renew(its.bundle_version, from, "bundle_version");
    renew(its.bundle_build, from, "bundle_build");
}

void take_place(recorded_visit& its, const object& from) {
    if (const auto number = number_in(from, "operation")) {
        its.operation = number;
        its.operation_name = text_in(from, "operation_name");
        its.progress = number_in(from, "progress");
    }
}

/// Of a visit that has ended.
void take_outcome(recorded_visit& its, const object& from) {
    its.has_ended = true;
    its.state = text_in(from, "state");
    its.reason = text_in(from, "reason");
    its.tries = number_in(from, "tries").value_or(its.tries);
    if (const auto duration = seconds_in(from, "duration_s")) {
        its.duration = duration;
    }
    take_place(its, from);
}

/// Without the word in front of it.
std::string sentence_in(const object& event) {
    std::string message = text_in(event, "message");
    const std::size_t end = message.find(": ");
    return end == std::string::npos ? message : message.substr(end + 2);
}

counts counts_in(const object& from) {
    const auto number = [&from](std::string_view key) {
        return static_cast<std::size_t>(
            std::max<std::int64_t>(number_in(from, key).value_or(0), 0));
    };
    return {number("chosen"),  number("restored"),  number("failed"),  number("timed_out"),
            number("stalled"), number("cancelled"), number("missing"), number("left_alone")};
}

enum class line_end { feed, end_of_file, too_long };

/// Like std::getline, but of a line that is too long, it does not keep the rest.
line_end read_line(std::istream& from, std::string& line) {
    line.clear();
    std::streambuf& bytes = *from.rdbuf();
    bool is_too_long = false;
    for (int c = bytes.sbumpc(); c != std::char_traits<char>::eof(); c = bytes.sbumpc()) {
        if (c == '\n') {
            return is_too_long ? line_end::too_long : line_end::feed;
        }
        if (line.size() == run_reader::longest_line) {
            is_too_long = true;
        } else {
            line += static_cast<char>(c);
        }
    }
    return line_end::end_of_file;
}

} // namespace

bool is_failure(const recorded_visit& visit) {
    static constexpr std::array states = {final_state::failed, final_state::timed_out,
                                          final_state::stalled, final_state::cancelled,
                                          final_state::missing};
    return visit.has_ended && std::ranges::any_of(states, [&visit](final_state each) {
               return name_of(each) == visit.state;
           });
}

recorded_visit& run_reader::add_visit(const std::string& key) {
    std::vector<std::size_t>& places = places_[key];
    places.push_back(record_.visits.size());
    recorded_visit& its = record_.visits.emplace_back();
    its.visit = static_cast<int>(places.size());
    return its;
}

recorded_visit& run_reader::visit_of(const object& event, bool is_found) {
    const std::string key = key_of(event);
    const std::vector<std::size_t>& places = places_[key];
    if (places.empty() || (is_found && record_.visits[places.back()].has_ended)) {
        add_visit(key);
    }
    return record_.visits[places.back()];
}

void run_reader::begin_operation(recorded_visit& its) {
    end_operation(its, false);
    if (operations_ == most_operations) {
        ++record_.lost_operations;
        return;
    }
    ++operations_;
    const std::string name = its.operation_name.empty()
                                 ? fmt::format("operation {}", its.operation.value_or(0))
                                 : its.operation_name;
    const auto [place, is_new] = names_.try_emplace(name, record_.operation_names.size());
    if (is_new) {
        record_.operation_names.push_back(name);
    }
    its.operations.push_back({place->second, record_.last, record_.last});
    its.is_in_operation = true;
}

void run_reader::end_operation(recorded_visit& its, bool has_failed) const {
    if (std::exchange(its.is_in_operation, false)) {
        its.operations.back().ended = record_.last;
        its.operations.back().has_failed = has_failed;
    }
}

void run_reader::end_try(recorded_visit& its, const object& event) {
    const bool is_restored = text_in(event, "state") == name_of(final_state::restored);
    end_operation(its, !is_restored);
    its.ends.push_back({record_.last, is_restored});
    its.running_since.reset();
    its.duration = seconds_in(event, "duration_s");
    its.state = "waiting";
}

void run_reader::take_of_try(recorded_visit& its, const object& event, std::string_view name) {
    if (name == "operation" || name == "progress") {
        take_place(its, event);
        if (name == "operation") {
            begin_operation(its);
        }
    } else if (name == "quiet" && its.state == "running") {
        its.state = "quiet";
    } else if (name == "quiet_over" && its.state == "quiet") {
        its.state = "running";
    } else if (name == "failure_reported") {
        its.state = "failing";
    } else if (name == "try_ended") {
        end_try(its, event);
    }
}

void run_reader::take_of_device(const object& event, std::string_view name) {
    recorded_visit& its = visit_of(event, name == "device_found");
    take_properties(its, event);
    if (name == "device_found") {
        its.visit = ++found_[its.ecid];
    } else if (name == "device_left_alone" || name == "device_ended") {
        take_outcome(its, event);
        its.sentence = sentence_in(event);
        if (name == "device_left_alone") {
            its.state = name_of(final_state::left_alone);
        }
    } else if (name == "try_started") {
        // Also of a device that was left alone before.
        its.has_ended = false;
        its.state = "running";
        its.sentence.clear();
        its.tries = number_in(event, "try").value_or(its.tries);
        its.running_since = record_.last;
        its.operation.reset();
        its.operation_name.clear();
        its.progress.reset();
    } else if (its.running_since) {
        take_of_try(its, event, name);
    }
}

void run_reader::take_end(const object& from) {
    record_.exit_status = number_in(from, "exit_status");
    if (const auto* totals = object_in(from, "counts")) {
        record_.totals = counts_in(*totals);
    }
}

void run_reader::take_of_run(const object& event, std::string_view name) {
    if (name == "run_ended") {
        record_.ended = text_in(event, "time");
        take_end(event);
    } else if (const auto level = text_in(event, "level"); level == "warning" || level == "error") {
        if (record_.remarks.size() == most_remarks) {
            ++record_.lost_remarks;
        } else {
            record_.remarks.push_back({text_in(event, "time"), text_in(event, "message")});
        }
    }
}

void run_reader::take_line(std::string_view line) {
    boost::system::error_code error;
    const auto value = boost::json::parse(line, error);
    const object* event = error ? nullptr : value.if_object();
    if (event == nullptr || text_in(*event, "event").empty()) {
        ++record_.unreadable_lines;
        return;
    }
    const std::string name = text_in(*event, "event");
    record_.last = std::max(record_.last, seconds_in(*event, "t").value_or(record_.last));
    if (event->contains("ecid") || event->contains("serial_number")) {
        take_of_device(*event, name);
    } else {
        take_of_run(*event, name);
    }
}

void run_reader::take_lines(std::istream& lines) {
    std::string line;
    for (;;) {
        switch (read_line(lines, line)) {
        case line_end::feed:
            take_line(line);
            break;
        case line_end::too_long:
            ++record_.unreadable_lines;
            break;
        case line_end::end_of_file:
            record_.is_last_line_cut = !line.empty();
            return;
        }
    }
}

void run_reader::take_summary(const object& summary) {
    record_.run = text_in(summary, "run");
    record_.version = text_in(summary, "version");
    record_.command = text_in(summary, "command");
    const auto* erases = summary.if_contains("erase");
    record_.erases = erases != nullptr && erases->is_bool() && erases->get_bool();
    record_.bundle = text_in(summary, "bundle");
    record_.bundle_version = text_in(summary, "bundle_version");
    record_.bundle_build = text_in(summary, "bundle_build");
    record_.started = text_in(summary, "started");
    if (summary.contains("ended")) {
        record_.ended = text_in(summary, "ended");
        take_end(summary);
    }
    if (const auto* tags = object_in(summary, "tags")) {
        for (const auto& each : *tags) {
            record_.tags.emplace_back(clipped(each.key()), text_in(*tags, each.key()));
        }
    }
    const auto* devices = summary.if_contains("devices");
    if (devices != nullptr && devices->is_array()) {
        take_devices(devices->get_array());
    }
}

void run_reader::take_devices(const boost::json::array& devices) {
    std::map<std::string, std::size_t> seen;
    for (const auto& value : devices) {
        if (const object* device = value.if_object()) {
            const std::string key = key_of(*device);
            const std::size_t visit = seen[key]++;
            recorded_visit& its =
                visit < places_[key].size() ? record_.visits[places_[key][visit]] : add_visit(key);
            take_properties(its, *device);
            // One that was left alone may have been begun since.
            const bool is_newer = !its.running_since || !record_.ended.empty();
            if (is_newer && text_in(*device, "state") != "running") {
                take_outcome(its, *device);
            }
        }
    }
}

run_record run_reader::finish() {
    for (recorded_visit& each : record_.visits) {
        end_operation(each, false);
        if (each.running_since && !each.has_ended) {
            each.duration = record_.last - *each.running_since;
        }
    }
    return std::move(record_);
}

} // namespace vandrel::station
