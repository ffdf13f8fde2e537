#pragma once

#include "platform/core_foundation.h"

#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace vandrel::testing {

/// A property list as a test writes and compares it:
///
///     dictionary{{"Type", "DeviceList"}, {"Value", array{"00000000000000AB"}}}
struct plist_value;

using array = std::vector<plist_value>;
using dictionary = std::map<std::string, plist_value>;

/// The bytes of a data element.
struct data {
    std::string bytes;
    bool operator==(const data&) const = default;
};

/// Seconds since 2001-01-01 00:00:00 UTC.
struct date {
    double time;
    bool operator==(const date&) const = default;
};

struct plist_value {
    plist_value() = default;
    // Implicit, so that tests can write literals.
    plist_value(const char* text) : value(std::string(text)) {}
    plist_value(std::string text) : value(std::move(text)) {}
    plist_value(int number) : value(std::int64_t{number}) {}
    plist_value(std::int64_t number) : value(number) {}
    plist_value(double number) : value(number) {}
    plist_value(bool truth) : value(truth) {}
    plist_value(data bytes) : value(std::move(bytes)) {}
    plist_value(date time) : value(time) {}
    plist_value(array elements) : value(std::move(elements)) {}
    plist_value(dictionary entries) : value(std::move(entries)) {}

    bool operator==(const plist_value&) const = default;

    /// The value of a dictionary's key. Throws if this is not a dictionary or lacks the key.
    const plist_value& at(const std::string& key) const;
    bool has(const std::string& key) const;

    std::variant<std::string, std::int64_t, double, bool, data, date, array, dictionary> value;
};

/// For GoogleTest's failure messages.
std::ostream& operator<<(std::ostream& stream, const plist_value& value);

/// The XML property list with that content.
std::string to_xml(const plist_value& value);

/// The content of one document. Throws std::runtime_error if it is not a property list.
plist_value from_xml(const std::string& document);

/// The documents of a stream in which `separator` follows each document. Throws std::runtime_error
/// if the stream has anything else.
std::vector<std::string> split_documents(const std::string& stream, const std::string& separator);

} // namespace vandrel::testing
