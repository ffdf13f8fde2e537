/// Orv::ecid accepts 16 hexadecimal digits of either case and returns them in upper case. It
/// refuses all other texts, with the text in the message. Every number has a text, which has that
/// number.

#include "driver/ecid.h"
#include "fuzzers/fuzzing.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>

namespace vandrel::fuzzing {

namespace {

/// The 16 digits in upper case; empty for any other text.
std::string canonical(std::string_view text) {
    constexpr std::string_view lower = "0123456789abcdef";
    constexpr std::string_view upper = "0123456789ABCDEF";
    if (text.size() != 16) {
        return {};
    }
    std::string result;
    for (const char c : text) {
        const std::size_t digit = std::min(lower.find(c), upper.find(c));
        if (digit == std::string_view::npos) {
            return {};
        }
        result += upper[digit];
    }
    return result;
}

void try_text(std::string_view text) {
    const std::string expected = canonical(text);
    try {
        const Orv::ecid ecid(text);
        require(!expected.empty() && ecid.text() == expected, "the digits in upper case");
        require(Orv::ecid(ecid.value()).text() == expected, "the text of the text's number");
    } catch (const std::invalid_argument& error) {
        require(expected.empty(), "16 digits are taken");
        require(error.what() == "Invalid ECID '" + std::string(text) + "'",
                "the refused text in the message");
    }
}

void try_number(std::uint64_t number) {
    const Orv::ecid ecid(number);
    require(canonical(ecid.text()) == ecid.text(), "16 digits in upper case");
    require(Orv::ecid(ecid.text()).value() == number, "the number of the number's text");
    require(fmt::format("{}", ecid) == (number == 0 ? "????????????????" : ecid.text()),
            "the text in messages, but for 0");
}

} // namespace

void try_input(input bytes) {
    // what() ends at the first zero byte.
    const std::string_view text = text_of(bytes);
    try_text(text.substr(0, text.find('\0')));
    std::uint64_t number = 0;
    std::memcpy(&number, bytes.data(), std::min(bytes.size(), sizeof number));
    try_number(number);
}

} // namespace vandrel::fuzzing
