#include "simulator/mobile_device/plist_reader.h"

#include "simulator/mobile_device/cf_values.h"
#include "simulator/mobile_device/scenario_file.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

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

CFStringRef as_string(CFTypeRef value) {
    return cf_cast<CFStringRef>(value, CFStringGetTypeID());
}

CFNumberRef as_number(CFTypeRef value) {
    return cf_cast<CFNumberRef>(value, CFNumberGetTypeID());
}

CFBooleanRef as_boolean(CFTypeRef value) {
    return cf_cast<CFBooleanRef>(value, CFBooleanGetTypeID());
}

/// Borrowed from `dictionary`.
std::vector<CFTypeRef> keys_of(CFDictionaryRef dictionary) {
    std::vector<CFTypeRef> result;
    CFDictionaryApplyFunction(
        dictionary,
        [](const void* key, const void*, void* keys) {
            static_cast<std::vector<CFTypeRef>*>(keys)->push_back(key);
        },
        &result);
    return result;
}

std::optional<std::int64_t> whole_number(CFTypeRef value) {
    std::int64_t result = 0;
    const CFNumberRef number = as_number(value);
    const bool fits =
        number != nullptr && CFNumberGetValue(number, kCFNumberSInt64Type, &result) != 0;
    // CFNumberGetValue returns a number that fits only unsigned 64 bits as a negative one.
    double real = 0;
    if (fits) {
        CFNumberGetValue(number, kCFNumberFloat64Type, &real);
    }
    return fits && (result < 0) == (real < 0) ? std::optional(result) : std::nullopt;
}

} // namespace

void throw_scenario_error(const std::string& place, const std::string& is,
                          const std::string& should_be) {
    throw scenario_error(place + ": is " + is + "; should be " + should_be);
}

std::string one_line(std::string text) {
    std::ranges::replace_if(
        text, [](unsigned char byte) { return byte < 0x20 || byte == 0x7F; }, '?');
    // U+0080 to U+009F take two bytes in UTF-8.
    for (std::size_t i = 0; (i = text.find('\xC2', i)) != std::string::npos; ++i) {
        if (i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0) {
            text.replace(i, 2, "?");
        }
    }
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
    if (const CFStringRef string = as_string(value)) {
        return quoted(cf_text(string));
    }
    if (as_number(value) != nullptr) {
        return cf_description(value);
    }
    if (const CFBooleanRef boolean = as_boolean(value)) {
        return CFBooleanGetValue(boolean) != 0 ? "true" : "false";
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
    : place_(std::move(place)),
      dictionary_(cf_cast<CFDictionaryRef>(value, CFDictionaryGetTypeID())) {
    const std::string own_place = place_.empty() ? "top level" : place_;
    if (dictionary_ == nullptr) {
        throw_scenario_error(own_place, shown(value), "a dictionary");
    }
    for (const CFTypeRef key : keys_of(dictionary_)) {
        const CFStringRef name = as_string(key);
        if (name == nullptr || std::ranges::find(keys, cf_text(name)) == keys.end()) {
            throw_scenario_error(own_place, "a dictionary with the unknown key " + shown(key),
                                 "one with no other keys than " +
                                     listed({keys.begin(), keys.end()}));
        }
    }
}

CFTypeRef plist_reader::find(const std::string& key) const {
    return CFDictionaryGetValue(dictionary_, cf_string(key).get());
}

std::string plist_reader::place_of(const std::string& key) const {
    return place_.empty() ? key : place_ + "." + key;
}

CFTypeRef plist_reader::required(const std::string& key, const std::string& should_be) const {
    const CFTypeRef value = find(key);
    if (value == nullptr) {
        throw_scenario_error(place_of(key), "missing", should_be);
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
    const CFStringRef string = as_string(value);
    if (string == nullptr) {
        throw_scenario_error(place_of(key), shown(value), "a string");
    }
    return cf_text(string);
}

bool plist_reader::optional_truth(const std::string& key, bool otherwise) const {
    const CFTypeRef value = find(key);
    if (value == nullptr) {
        return otherwise;
    }
    const CFBooleanRef boolean = as_boolean(value);
    if (boolean == nullptr) {
        throw_scenario_error(place_of(key), shown(value), "true or false");
    }
    return CFBooleanGetValue(boolean) != 0;
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
        throw_scenario_error(place_of(key), shown(value), range_text(least, most));
    }
    return *number;
}

double plist_reader::seconds(const std::string& key) const {
    constexpr auto should_be = "a number of seconds, zero or more";
    const CFTypeRef value = required(key, should_be);
    const CFNumberRef number = as_number(value);
    double result = -1;
    if (number != nullptr) {
        CFNumberGetValue(number, kCFNumberFloat64Type, &result);
    }
    if (!std::isfinite(result) || result < 0) {
        throw_scenario_error(place_of(key), shown(value), should_be);
    }
    return result;
}

double plist_reader::optional_seconds(const std::string& key) const {
    return find(key) == nullptr ? 0 : seconds(key);
}

std::optional<std::string>
plist_reader::optional_word(const std::string& key,
                            std::initializer_list<const char*> words) const {
    const CFTypeRef value = find(key);
    if (value == nullptr) {
        return std::nullopt;
    }
    const CFStringRef string = as_string(value);
    const std::string word = string == nullptr ? "" : cf_text(string);
    if (std::ranges::find(words, word) == words.end()) {
        throw_scenario_error(place_of(key), shown(value), listed({words.begin(), words.end()}));
    }
    return word;
}

std::uint64_t plist_reader::hexadecimal(const std::string& key) const {
    constexpr auto should_be = "a string of 16 hexadecimal digits";
    const CFTypeRef value = required(key, should_be);
    const CFStringRef string = as_string(value);
    const std::string digits = string == nullptr ? "" : cf_text(string);
    std::uint64_t result = 0;
    if (digits.size() != 16 || !std::ranges::all_of(digits, [](char character) {
            return std::string_view("0123456789abcdefABCDEF").find(character) !=
                   std::string_view::npos;
        })) {
        throw_scenario_error(place_of(key), shown(value), should_be);
    }
    std::from_chars(digits.data(), digits.data() + digits.size(), result, 16);
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

    if (const CFStringRef string = as_string(value)) {
        const std::string word = cf_text(string);
        for (const numbered_word& candidate : words) {
            if (word == candidate.word) {
                return candidate.number;
            }
        }
    }
    const auto number = whole_number(value);
    if (!number || *number < 0 || *number > most) {
        throw_scenario_error(place_of(key), shown(value), listed(allowed));
    }
    return static_cast<std::uint32_t>(*number);
}

CFArrayRef plist_reader::optional_array(const std::string& key) const {
    const CFTypeRef value = find(key);
    const auto array = cf_cast<CFArrayRef>(value, CFArrayGetTypeID());
    if (value != nullptr && array == nullptr) {
        throw_scenario_error(place_of(key), shown(value), "an array");
    }
    return array;
}

} // namespace simulator
