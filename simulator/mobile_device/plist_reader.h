#pragma once

/// Typed access to a dictionary of a scenario. Every error message has the place of the error.

#include "platform/core_foundation.h"

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace simulator {

/// Throws scenario_error with the text "PLACE: is IS; should be SHOULD_BE".
[[noreturn]] void throw_scenario_error(const std::string& place, const std::string& is,
                                       const std::string& should_be);

/// `text` with a question mark in place of each control character (U+0000 to U+001F, U+007F to
/// U+009F), so that it is one line and a terminal finds no command in it.
std::string one_line(std::string text);

/// `text` for an error message: in quotes, on one line, shortened if it is long.
std::string quoted(std::string text);

/// A value of a scenario for an error message; null is shown as "missing".
std::string shown(CFTypeRef value);

/// A word that stands for a number.
struct numbered_word {
    const char* word;
    std::uint32_t number;
};

/// Reads one dictionary:
///
///     plist_reader device("Devices[2]", value, {"Name", "ECID"});
///     const std::string name = device.text("Name");
///
/// Functions with `optional` in their name, `find` and `each` accept a missing key. For a missing
/// key, the other functions that read a value throw scenario_error. All but `find` throw it for a
/// value of the wrong type or outside the range.
class plist_reader {
public:
    /// `place` is empty for the top level. Throws scenario_error when `value` is no dictionary, or
    /// has a key that is none of `keys`.
    plist_reader(std::string place, CFTypeRef value, std::initializer_list<std::string_view> keys);

    /// Null when the key is absent.
    CFTypeRef find(const std::string& key) const;
    std::string place_of(const std::string& key) const;

    std::string text(const std::string& key) const;
    std::optional<std::string> optional_text(const std::string& key) const;
    /// `otherwise` when the key is absent.
    bool optional_truth(const std::string& key, bool otherwise) const;
    std::int64_t integer(const std::string& key) const;
    /// 0 when the key is absent.
    std::int64_t optional_integer(const std::string& key, std::int64_t least,
                                  std::int64_t most) const;
    /// Zero or more.
    double seconds(const std::string& key) const;
    /// 0 when the key is absent.
    double optional_seconds(const std::string& key) const;
    /// One of `words`.
    std::optional<std::string> optional_word(const std::string& key,
                                             std::initializer_list<const char*> words) const;
    /// The number that a string of 16 hexadecimal digits means.
    std::uint64_t hexadecimal(const std::string& key) const;
    /// The number of one of `words`, or any unsigned number of 32 bits.
    std::uint32_t word_or_number(const std::string& key,
                                 std::initializer_list<numbered_word> words) const;

    /// Calls `visit(place, element)` for each element of an array, in order; not at all when the
    /// key is absent.
    template<class Visit>
    void each(const std::string& key, Visit visit) const {
        const CFArrayRef array = optional_array(key);
        const CFIndex count = array == nullptr ? 0 : CFArrayGetCount(array);
        for (CFIndex i = 0; i < count; ++i) {
            visit(place_of(key) + "[" + std::to_string(i) + "]", CFArrayGetValueAtIndex(array, i));
        }
    }

private:
    CFTypeRef required(const std::string& key, const std::string& should_be) const;
    CFArrayRef optional_array(const std::string& key) const;

    std::string place_;
    CFDictionaryRef dictionary_;
};

} // namespace simulator
