#include "fuzzers/xml_outcome.h"

#include "simulator/core_foundation/array.h"
#include "simulator/core_foundation/boolean.h"
#include "simulator/core_foundation/data.h"
#include "simulator/core_foundation/date.h"
#include "simulator/core_foundation/dictionary.h"
#include "simulator/core_foundation/number.h"
#include "simulator/core_foundation/string.h"

#include <algorithm>
#include <cmath>

namespace vandrel::fuzzing {

namespace {

using simulator::cast;

constexpr int deepest = 512;
/// The first second of the year 0 and of the year 10000.
constexpr double first_second = -63'145'526'400;
constexpr double end_of_time = 252'423'993'600;

/// `utf8` is valid.
bool is_known_to_xml(std::string_view utf8) {
    return std::ranges::all_of(utf8,
                               [](unsigned char byte) {
                                   return byte >= 0x20 || byte == '\t' || byte == '\n' ||
                                          byte == '\r';
                               }) &&
           utf8.find("\xEF\xBF\xBE") == utf8.npos && utf8.find("\xEF\xBF\xBF") == utf8.npos;
}

void foresee_text(std::string_view utf8, xml_outcome& outcome) {
    outcome.is_read = outcome.is_read && is_known_to_xml(utf8);
    outcome.is_equal = outcome.is_equal && utf8.find('\r') == utf8.npos;
}

/// `depth`: the number of containers around it.
void foresee(CFTypeRef value, int depth, xml_outcome& outcome) {
    if (const auto* string = cast<__CFString>(value)) {
        foresee_text(string->utf8, outcome);
    } else if (const auto* number = cast<__CFNumber>(value)) {
        const auto* const real = std::get_if<double>(&number->value);
        outcome.is_equal = outcome.is_equal && (real == nullptr || !std::isnan(*real));
    } else if (const auto* date = cast<__CFDate>(value)) {
        const bool fits = date->time >= first_second && date->time < end_of_time;
        outcome.is_written = outcome.is_written && fits;
        outcome.is_equal = outcome.is_equal && date->time == std::floor(date->time);
    } else if (const auto* array = cast<__CFArray>(value)) {
        outcome.is_written = outcome.is_written && depth < deepest;
        for (const auto& element : array->values) {
            foresee(element.get(), depth + 1, outcome);
        }
    } else if (const auto* dictionary = cast<__CFDictionary>(value)) {
        outcome.is_written = outcome.is_written && depth < deepest;
        for (const auto& entry : dictionary->table.entries()) {
            const auto* const key = cast<__CFString>(entry.key.get());
            outcome.is_written = outcome.is_written && key != nullptr;
            foresee_text(key == nullptr ? "" : key->utf8, outcome);
            foresee(entry.value.get(), depth + 1, outcome);
        }
    } else {
        outcome.is_written = outcome.is_written && (cast<__CFBoolean>(value) != nullptr ||
                                                    cast<__CFData>(value) != nullptr);
    }
}

} // namespace

xml_outcome outcome_in_xml(CFTypeRef value) {
    xml_outcome outcome;
    foresee(value, 0, outcome);
    return outcome;
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
    require((read != nullptr) == outcome.is_read, "what is written is read, if XML can hold it");
    if (outcome.is_read && outcome.is_equal) {
        require(CFEqual(read.get(), value) != 0, "what is read is what was written");
    }
}

void require_outcome_in_xml(CFTypeRef value) {
    CFErrorRef error_out = nullptr;
    const cf_handle<CFDataRef> document(
        CFPropertyListCreateData(kCFAllocatorDefault, value, kCFPropertyListXMLFormat_v1_0,
                                 kCFPropertyListImmutable, &error_out));
    const cf_error_handle error(error_out);
    require((document != nullptr) == (error == nullptr), "either a document or an error");
    require((document != nullptr) == outcome_in_xml(value).is_written,
            "what property lists can hold is written");
    if (document) {
        require_document({CFDataGetBytePtr(document.get()),
                          static_cast<std::size_t>(CFDataGetLength(document.get()))},
                         value);
    }
}

} // namespace vandrel::fuzzing
