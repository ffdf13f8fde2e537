#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace Orv {

/// A device's unique chip identifier: a number, and the 16 upper-case hexadecimal digits that
/// people and records call it by.
class ecid {
public:
    explicit ecid(std::uint64_t value);

    /// From exactly 16 hexadecimal digits of either case, without prefix or blanks. Throws
    /// std::invalid_argument, with the text in its message, for anything else.
    explicit ecid(std::string_view text);

    std::uint64_t value() const { return value_; }

    /// Always derived from the value, never as it was typed.
    const std::string& text() const { return text_; }

private:
    std::uint64_t value_;
    std::string text_;
};

} // namespace Orv

/// In messages the digits, or sixteen question marks for the value 0, which no device has; what may
/// follow a colon is what strings take.
template<>
struct fmt::formatter<Orv::ecid> : fmt::formatter<std::string_view> {
    template<class Context>
    auto format(const Orv::ecid& ecid, Context& context) const {
        const std::string_view text =
            ecid.value() == 0 ? std::string_view("????????????????") : ecid.text();
        return formatter<std::string_view>::format(text, context);
    }
};
