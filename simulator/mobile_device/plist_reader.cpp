#include "simulator/mobile_device/plist_reader.h"

#include "simulator/core_foundation/array.h"
#include "simulator/core_foundation/boolean.h"
#include "simulator/core_foundation/dictionary.h"
#include "simulator/core_foundation/number.h"
#include "simulator/mobile_device/scenario_file.h"
#include "simulator/core_foundation/string.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

namespace simulator {

namespace {

std::string listed(const std::vector<std::string>& words) {
    std::string result;
    for (std::size_t i = 0; i < words.size(); ++i) {
        result += (i == 0 ? "" : i + 1 == words.size() ? " or " : ", ") + words[i];
    }
    return result;
}

std::string range_text(std::int64_t least, std::int64_t most) {
    return "a whole number from " + std::to_string(least) + " to " + std::to_string(most);
}

std::optional<std::int64_t> whole_number(CFTypeRef value) {
    std::int64_t result = 0;
    const auto* const number = cast<__CFNumber>(value);
    const bool fits =
        number != nullptr && CFNumberGetValue(number, kCFNumberSInt64Type, &result) != 0;
    return fits ? std::optional(result) : std::nullopt;
}

} // namespace

void complain(const std::string& place, const std::string& is, const std::string& should_be) {
    throw scenario_error(place + ": is " + is + "; should be " + should_be);
}

std::string one_line(std::string text) {
    std::ranges::replace_if(
        text, [](unsigned char byte) { return byte < 0x20 || byte == 0x7F; }, '?');
    return text;
}

std::string quoted(std::string text) {
    constexpr std::size_t longest = 60;
    if (text.size() > longest) {
        std::size_t end = longest;
        // Not in the middle of a character.
        while ((static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
            --end;
        }
        text = text.substr(0, end) + "...";
    }
    return "\"" + one_line(std::move(text)) + "\"";
}

std::string shown(CFTypeRef value) {
    if (value == nullptr) {
        return "missing";
    }
    if (const auto* string = cast<__CFString>(value)) {
        return quoted(string->utf8);
    }
    if (const auto* number = cast<__CFNumber>(value)) {
        return number_text(number->value);
    }
    if (const auto* boolean = cast<__CFBoolean>(value)) {
        return boolean->value ? "true" : "false";
    }
    const std::array<std::pair<CFTypeID, const char*>, 4> others = {
        {{CFArrayGetTypeID(), "an array"},
         {CFDictionaryGetTypeID(), "a dictionary"},
         {CFDataGetTypeID(), "data"},
         {CFDateGetTypeID(), "a date"}}};
    for (const auto& [type, name] : others) {
        if (CFGetTypeID(value) == type) {
            return name;
        }
    }
    return "something else";
}

plist_reader::plist_reader(std::string place, CFTypeRef value,
                           std::initializer_list<std::string_view> keys)
    : place_(std::move(place)), dictionary_(cast<__CFDictionary>(value)) {
    const std::string own_place = place_.empty() ? "top level" : place_;
    if (dictionary_ == nullptr) {
        complain(own_place, shown(value), "a dictionary");
    }
    for (const auto& entry : dictionary_->table.entries()) {
        const auto* const key = cast<__CFString>(entry.key.get());
        if (key == nullptr || std::ranges::find(keys, key->utf8) == keys.end()) {
            complain(own_place, "a dictionary with the unknown key " + shown(entry.key.get()),
                     "one with no other keys than " + listed({keys.begin(), keys.end()}));
        }
    }
}

CFTypeRef plist_reader::find(const std::string& key) const {
    const auto name = owned<const __CFString>(make_string(key));
    return CFDictionaryGetValue(dictionary_, name.get());
}

std::string plist_reader::place_of(const std::string& key) const {
    return place_.empty() ? key : place_ + "." + key;
}

CFTypeRef plist_reader::required(const std::string& key, const std::string& should_be) const {
    const CFTypeRef value = find(key);
    if (value == nullptr) {
        complain(place_of(key), "missing", should_be);
    }
    return value;
}

std::string plist_reader::text(const std::string& key) const {
    required(key, "a string");
    return *optional_text(key);
}

std::optional<std::string> plist_reader::optional_text(const std::string& key) const {
    const CFTypeRef value = find(key);
    if (value == nullptr) {
        return std::nullopt;
    }
    const auto* const string = cast<__CFString>(value);
    if (string == nullptr) {
        complain(place_of(key), shown(value), "a string");
    }
    return string->utf8;
}

bool plist_reader::optional_truth(const std::string& key, bool otherwise) const {
    const CFTypeRef value = find(key);
    if (value == nullptr) {
        return otherwise;
    }
    const auto* const boolean = cast<__CFBoolean>(value);
    if (boolean == nullptr) {
        complain(place_of(key), shown(value), "true or false");
    }
    return boolean->value;
}

std::int64_t plist_reader::integer(const std::string& key) const {
    required(key, "a whole number");
    using limits = std::numeric_limits<std::int64_t>;
    return optional_integer(key, limits::min(), limits::max());
}

std::int64_t plist_reader::optional_integer(const std::string& key, std::int64_t least,
                                            std::int64_t most) const {
    const CFTypeRef value = find(key);
    if (value == nullptr) {
        return 0;
    }
    const auto number = whole_number(value);
    if (!number || *number < least || *number > most) {
        complain(place_of(key), shown(value), range_text(least, most));
    }
    return *number;
}

double plist_reader::seconds(const std::string& key) const {
    constexpr auto should_be = "a number of seconds, zero or more";
    const CFTypeRef value = required(key, should_be);
    const auto* const number = cast<__CFNumber>(value);
    double result = -1;
    if (number != nullptr) {
        CFNumberGetValue(number, kCFNumberFloat64Type, &result);
    }
    if (!std::isfinite(result) || result < 0) {
        complain(place_of(key), shown(value), should_be);
    }
    return result;
}

std::uint64_t plist_reader::hexadecimal(const std::string& key) const {
    constexpr auto should_be = "a string of 16 hexadecimal digits";
    const CFTypeRef value = required(key, should_be);
    const auto* const string = cast<__CFString>(value);
    std::uint64_t result = 0;
    if (string == nullptr || string->utf8.size() != 16 ||
        !std::ranges::all_of(string->utf8, [](char character) {
            return std::string_view("0123456789abcdefABCDEF").find(character) !=
                   std::string_view::npos;
        })) {
        complain(place_of(key), shown(value), should_be);
    }
    std::from_chars(string->utf8.data(), string->utf8.data() + string->utf8.size(), result, 16);
    return result;
}

std::uint32_t plist_reader::word_or_number(const std::string& key,
                                           std::initializer_list<numbered_word> words) const {
    constexpr std::int64_t most = std::numeric_limits<std::uint32_t>::max();
    std::vector<std::string> allowed;
    for (const numbered_word& candidate : words) {
        allowed.emplace_back(candidate.word);
    }
    allowed.push_back(range_text(0, most));
    const CFTypeRef value = required(key, listed(allowed));

    if (const auto* string = cast<__CFString>(value)) {
        for (const numbered_word& candidate : words) {
            if (string->utf8 == candidate.word) {
                return candidate.number;
            }
        }
    }
    const auto number = whole_number(value);
    if (!number || *number < 0 || *number > most) {
        complain(place_of(key), shown(value), listed(allowed));
    }
    return static_cast<std::uint32_t>(*number);
}

CFArrayRef plist_reader::optional_array(const std::string& key) const {
    const CFTypeRef value = find(key);
    const auto* const array = cast<__CFArray>(value);
    if (value != nullptr && array == nullptr) {
        complain(place_of(key), shown(value), "an array");
    }
    return array;
}

} // namespace simulator
