#include "fuzzers/xml_outcome.h"

#include "simulator/core_foundation/array.h"
#include "simulator/core_foundation/boolean.h"
#include "simulator/core_foundation/data.h"
#include "simulator/core_foundation/date.h"
#include "simulator/core_foundation/dictionary.h"
#include "simulator/core_foundation/number.h"
#include "simulator/core_foundation/string.h"
#include "simulator/core_foundation/unique_id.h"

#include <algorithm>
#include <cmath>

namespace vandrel::fuzzing {

namespace {

using simulator::cast;

constexpr int deepest_written = 2'048;
constexpr int deepest_read = 512;
/// The first second of the year 0 and of the year 10000.
constexpr double first_second = -63'145'526'400;
constexpr double end_of_time = 252'423'993'600;

void foresee_depth(int depth, xml_outcome& outcome) {
    outcome.is_written = outcome.is_written && depth < deepest_written;
    outcome.is_read = outcome.is_read && depth < deepest_read;
}

void foresee_number(const __CFNumber& number, xml_outcome& outcome) {
    const auto* const real = std::get_if<double>(&number.value);
    outcome.is_equal = outcome.is_equal && (real == nullptr || *real != 0 || !std::signbit(*real));
}

void foresee_date(const __CFDate& date, xml_outcome& outcome) {
    outcome.is_read = outcome.is_read && date.time >= first_second && date.time < end_of_time;
    outcome.is_equal = outcome.is_equal && date.time == std::floor(date.time);
}

bool reads_as_unique_id(const __CFDictionary& dictionary) {
    const auto& entries = dictionary.table.entries();
    const auto* const key = entries.size() == 1 ? cast<__CFString>(entries[0].key.get()) : nullptr;
    if (key == nullptr || key->utf8 != "CF$UID") {
        return false;
    }
    const auto* const number = cast<__CFNumber>(entries[0].value.get());
    const auto* const whole =
        number == nullptr ? nullptr : std::get_if<std::int64_t>(&number->value);
    return whole != nullptr && *whole >= 0 && *whole <= 0xFFFF'FFFF;
}

void foresee(CFTypeRef value, int depth, xml_outcome& outcome);

void foresee_dictionary(const __CFDictionary& dictionary, int depth, xml_outcome& outcome) {
    foresee_depth(depth, outcome);
    outcome.is_equal = outcome.is_equal && !reads_as_unique_id(dictionary);
    for (const auto& entry : dictionary.table.entries()) {
        const auto* const key = cast<__CFString>(entry.key.get());
        const bool is_valid = key != nullptr && key->is_valid;
        outcome.is_written = outcome.is_written && key != nullptr;
        outcome.is_equal = outcome.is_equal && is_valid;
        outcome.is_same_again = outcome.is_same_again && is_valid;
        foresee(entry.value.get(), depth + 1, outcome);
    }
}

/// `depth`: the number of containers around it.
void foresee(CFTypeRef value, int depth, xml_outcome& outcome) {
    if (const auto* string = cast<__CFString>(value)) {
        outcome.is_equal = outcome.is_equal && string->is_valid;
    } else if (const auto* number = cast<__CFNumber>(value)) {
        foresee_number(*number, outcome);
    } else if (const auto* date = cast<__CFDate>(value)) {
        foresee_date(*date, outcome);
    } else if (const auto* array = cast<__CFArray>(value)) {
        foresee_depth(depth, outcome);
        for (const auto& element : array->values) {
            foresee(element.get(), depth + 1, outcome);
        }
    } else if (const auto* dictionary = cast<__CFDictionary>(value)) {
        foresee_dictionary(*dictionary, depth, outcome);
    } else {
        outcome.is_written = outcome.is_written && (cast<__CFBoolean>(value) != nullptr ||
                                                    cast<__CFData>(value) != nullptr ||
                                                    cast<__CFKeyedArchiverUID>(value) != nullptr);
    }
}

} // namespace

input bytes_of(CFDataRef data) {
    return {CFDataGetBytePtr(data), static_cast<std::size_t>(CFDataGetLength(data))};
}

xml_outcome outcome_in_xml(CFTypeRef value) {
    xml_outcome outcome;
    foresee(value, 0, outcome);
    return outcome;
}

cf_handle<CFDataRef> write_property_list(CFTypeRef value) {
    CFErrorRef error_out = nullptr;
    cf_handle<CFDataRef> document(CFPropertyListCreateData(kCFAllocatorDefault, value,
                                                           kCFPropertyListXMLFormat_v1_0,
                                                           kCFPropertyListImmutable, &error_out));
    const cf_error_handle error(error_out);
    require((document != nullptr) == (error == nullptr), "either a document or an error");
    return document;
}

cf_handle<CFPropertyListRef> read_property_list(input bytes) {
    const cf_handle<CFDataRef> data(
        CFDataCreate(kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size())));
    CFErrorRef error_out = nullptr;
    cf_handle<CFPropertyListRef> value(CFPropertyListCreateWithData(
        kCFAllocatorDefault, data.get(), kCFPropertyListImmutable, nullptr, &error_out));
    const cf_error_handle error(error_out);
    require((value != nullptr) == (error == nullptr), "either a value or an error");
    return value;
}

void require_document(input document, CFTypeRef value) {
    constexpr std::string_view head =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist ";
    constexpr std::string_view tail = "</plist>\n";
    const xml_outcome outcome = outcome_in_xml(value);
    require(text_of(document).starts_with(head) && text_of(document).ends_with(tail),
            "a whole document");
    const auto read = read_property_list(document);
    require((read != nullptr) == outcome.is_read, "what is written is read, if it can be");
    if (outcome.is_read && outcome.is_equal) {
        require(CFEqual(read.get(), value) != 0, "what is read is what was written");
    }
    if (outcome.is_read && outcome.is_same_again) {
        const auto again = write_property_list(read.get());
        require(again && std::ranges::equal(bytes_of(again.get()), document),
                "what is read is written to the same bytes");
    }
}

void require_outcome_in_xml(CFTypeRef value) {
    const auto document = write_property_list(value);
    require((document != nullptr) == outcome_in_xml(value).is_written,
            "what property lists can hold is written");
    if (document) {
        require_document(bytes_of(document.get()), value);
    }
}

} // namespace vandrel::fuzzing
