#include "station/record_reader.h"

#include "station/text.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <utility>

#include <pugixml.hpp>

namespace vandrel::station {

namespace {

constexpr std::string_view start_mark = "<?xml";
constexpr std::string_view end_mark = "</plist>";
constexpr std::string_view blanks = " \t\r\n";

/// A key that is missing, or whose value has another type than its record needs.
struct broken_record : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The value of a dictionary's key; an empty node when the key is missing.
pugi::xml_node value_of(const pugi::xml_node& dictionary, std::string_view key) {
    for (pugi::xml_node each = dictionary.child("key"); each; each = each.next_sibling("key")) {
        if (key == each.child_value()) {
            return each.next_sibling();
        }
    }
    return {};
}

bool is(const pugi::xml_node& value, std::string_view type) {
    return type == value.name();
}

std::optional<std::int64_t> integer_in(const pugi::xml_node& value) {
    if (!is(value, "integer")) {
        return {};
    }
    const char* text = value.child_value();
    char* end = nullptr;
    errno = 0;
    const long long number = std::strtoll(text, &end, 10);
    if (end == text || *end != '\0' || errno != 0) {
        return {};
    }
    return number;
}

/// An integer, or a real that is a whole number: the tool takes one for an integer, and writes it
/// as it came.
std::optional<std::int64_t> whole_number_in(const pugi::xml_node& value) {
    if (!is(value, "real")) {
        return integer_in(value);
    }
    const double number = value.text().as_double();
    constexpr double limit = 9'007'199'254'740'992; // up to here, each whole number is a double
    if (std::trunc(number) != number || std::abs(number) > limit) {
        return {};
    }
    return static_cast<std::int64_t>(number);
}

std::int64_t integer(const pugi::xml_node& dictionary, const char* key) {
    const auto number = whole_number_in(value_of(dictionary, key));
    if (!number) {
        throw broken_record(key);
    }
    return *number;
}

std::uint32_t low_bits(const pugi::xml_node& dictionary, const char* key) {
    return static_cast<std::uint32_t>(integer(dictionary, key));
}

std::string optional_text(const pugi::xml_node& dictionary, const char* key) {
    const pugi::xml_node value = value_of(dictionary, key);
    return is(value, "string") ? value.child_value() : "";
}

std::string text(const pugi::xml_node& dictionary, const char* key) {
    if (!is(value_of(dictionary, key), "string")) {
        throw broken_record(key);
    }
    return optional_text(dictionary, key);
}

error_dictionary read_error(const pugi::xml_node& value) {
    error_dictionary error;
    error.code = integer_in(value_of(value, "Code"));
    error.domain = optional_text(value, "Domain");
    error.text = optional_text(value, "FailureReason");
    if (error.text.empty()) {
        error.text = optional_text(value, "Description");
    }
    return error;
}

error_value error_in(const pugi::xml_node& value) {
    if (!value) {
        return {};
    }
    if (const auto number = integer_in(value)) {
        return *number;
    }
    if (is(value, "real")) {
        return value.text().as_double();
    }
    if (is(value, "string")) {
        return std::string(value.child_value());
    }
    if (is(value, "dict")) {
        return read_error(value);
    }
    return other_error{value.first_child() ? value.child_value() : value.name()};
}

record read_restore_status(const pugi::xml_node& value) {
    restore_report report;
    report.status = text(value, "Status");
    report.operation = static_cast<std::int32_t>(integer(value, "Operation"));
    report.progress = integer(value, "Progress");
    report.error = error_in(value_of(value, "Error"));
    report.operation_name = optional_text(value, "Orv_OperationName");
    if (report.operation_name.empty()) {
        report.operation_name = operation_name(report.operation);
    }
    return report;
}

record read_device_list(const pugi::xml_node& value) {
    if (!is(value, "array")) {
        throw broken_record("array");
    }
    device_list_record list;
    for (const pugi::xml_node& each : value.children()) {
        if (!is(each, "string")) {
            throw broken_record("ECID");
        }
        list.ecids.emplace_back(each.child_value());
    }
    return list;
}

record read_device_info(const pugi::xml_node& value) {
    device_info_record info;
    info.properties.chip_id = low_bits(value, "ChipID");
    info.properties.board_id = low_bits(value, "BoardID");
    info.properties.location_id = low_bits(value, "LocationID");
    info.properties.serial_number = optional_text(value, "SerialNumber");
    info.properties.product_string = optional_text(value, "ProductString");
    return info;
}

record read_internal_error(const pugi::xml_node& value) {
    const error_dictionary error = read_error(value);
    if (!error.code) {
        throw broken_record("Code");
    }
    return internal_error_record{{error.domain, error.code, error.text}};
}

record read_value(const std::string& type, const pugi::xml_node& value) {
    if (type == "RestoreStatus") {
        return read_restore_status(value);
    }
    if (type == "DeviceList") {
        return read_device_list(value);
    }
    if (type == "DeviceInfo") {
        return read_device_info(value);
    }
    if (type == "InternalError") {
        return read_internal_error(value);
    }
    if (type == "CommandSuccess") {
        return command_success_record{};
    }
    return unknown_record{type};
}

} // namespace

record read_record(std::string_view document) {
    std::string clean = allowed_in_xml(document);
    pugi::xml_document parsed;
    if (!parsed.load_buffer_inplace(clean.data(), clean.size(), pugi::parse_default,
                                    pugi::encoding_utf8)) {
        return unreadable_record{};
    }
    const pugi::xml_node root = parsed.child("plist").child("dict");
    try {
        return read_value(text(root, "Type"), value_of(root, "Value"));
    } catch (const broken_record&) {
        return unreadable_record{};
    }
}

std::size_t record_reader::unfinished_ = 0;

record_reader::~record_reader() {
    unfinished_ -= counted_;
}

void record_reader::take(std::string_view bytes, const handler& handle) {
    while (!bytes.empty()) {
        // The mark may have begun in the bytes before.
        const std::size_t before = document_.size();
        const std::size_t overlap = std::min(before, end_mark.size() - 1);
        const std::string seam =
            document_.substr(before - overlap) + std::string(bytes.substr(0, end_mark.size() - 1));
        std::size_t taken = bytes.size();
        bool ends = false;
        if (const std::size_t found = seam.find(end_mark); found != std::string::npos) {
            taken = found + end_mark.size() - overlap;
            ends = true;
        } else if (const std::size_t later = bytes.find(end_mark); later != bytes.npos) {
            taken = later + end_mark.size();
            ends = true;
        }
        document_ += bytes.substr(0, taken);
        bytes.remove_prefix(taken);
        count_document();
        if (document_.size() > largest_document ||
            (document_.size() > small_document && unfinished_ > most_unfinished)) {
            passes_over_ = true;
        }
        if (ends) {
            end_document(handle);
        } else if (passes_over_) {
            document_.erase(0, document_.size() - (end_mark.size() - 1));
            document_.shrink_to_fit();
        }
        count_document();
    }
}

void record_reader::count_document() {
    unfinished_ += document_.capacity();
    unfinished_ -= std::exchange(counted_, document_.capacity());
}

void record_reader::finish(const handler& handle) {
    if (passes_over_ || document_.find_first_not_of(blanks) != std::string::npos) {
        end_document(handle);
    }
}

void record_reader::end_document(const handler& handle) {
    const std::string document = std::exchange(document_, {});
    if (std::exchange(passes_over_, false)) {
        handle(unreadable_record{});
        return;
    }
    // A record that was cut short, or anything else, does not spoil the record that follows it.
    std::size_t start = 0;
    for (std::size_t next = document.find(start_mark); next != std::string::npos;
         next = document.find(start_mark, next + 1)) {
        start = next;
    }
    if (document.find_first_not_of(blanks) < start) {
        handle(unreadable_record{});
    }
    handle(read_record(std::string_view(document).substr(start)));
}

} // namespace vandrel::station
