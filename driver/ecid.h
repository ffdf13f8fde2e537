#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

/// The namespace of the types that vandrel's maker shares between programs.
namespace Orv {

/// A device's unique chip identifier (ECID): a 64-bit number, and its text of 16 upper-case
/// hexadecimal digits, which records and messages show.
class ecid {
public:
    explicit ecid(std::uint64_t value);

    /// From exactly 16 hexadecimal digits of either case, without prefix or blanks. Throws
    /// std::invalid_argument, with the text in its message, for anything else.
    explicit ecid(std::string_view text);

    std::uint64_t value() const { return value_; }

    /// Derived from the value: upper case, whatever case was typed.
    const std::string& text() const { return text_; }

    /// By value, as unsigned numbers.
    friend bool operator==(const ecid& left, const ecid& right) {
        return left.value_ == right.value_;
    }
    friend std::strong_ordering operator<=>(const ecid& left, const ecid& right) {
        return left.value_ <=> right.value_;
    }

private:
    std::uint64_t value_;
    std::string text_;
};

/// In messages: the 16 digits, or 16 question marks for the value 0, which no device has. The
/// format options are those of strings. The result may refer to `ecid`.
inline std::string_view format_as(const ecid& ecid) {
    return ecid.value() == 0 ? std::string_view("????????????????") : ecid.text();
}

} // namespace Orv
