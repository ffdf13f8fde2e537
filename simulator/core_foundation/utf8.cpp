#include "simulator/core_foundation/utf8.h"

#include <cstring>

namespace simulator {

namespace {

/// How a sequence goes on after its first byte. Overlong forms, surrogates and what lies above
/// U+10FFFF all show in the second byte.
struct sequence {
    std::size_t length;
    unsigned char second_from;
    unsigned char second_to;
};

/// Length 0: no sequence of several bytes begins so.
sequence sequence_of(unsigned char first) {
    if (first < 0xC2) {
        return {0, 0, 0};
    }
    if (first < 0xE0) {
        return {2, 0x80, 0xBF};
    }
    if (first < 0xF0) {
        const unsigned char from = first == 0xE0 ? 0xA0 : 0x80;
        const unsigned char to = first == 0xED ? 0x9F : 0xBF;
        return {3, from, to};
    }
    if (first < 0xF5) {
        const unsigned char from = first == 0xF0 ? 0x90 : 0x80;
        const unsigned char to = first == 0xF4 ? 0x8F : 0xBF;
        return {4, from, to};
    }
    return {0, 0, 0};
}

bool in_range(char byte, unsigned char from, unsigned char to) {
    const auto value = static_cast<unsigned char>(byte);
    return value >= from && value <= to;
}

/// How many bytes from the first on are ASCII, as nearly all are; looks at eight at a time.
std::size_t leading_ascii(std::string_view text) {
    constexpr std::uint64_t high_bits = 0x8080808080808080;
    std::size_t count = 0;
    for (std::uint64_t eight = 0; count + sizeof eight <= text.size(); count += sizeof eight) {
        std::memcpy(&eight, text.data() + count, sizeof eight);
        if ((eight & high_bits) != 0) {
            break;
        }
    }
    while (count < text.size() && static_cast<unsigned char>(text[count]) < 0x80) {
        ++count;
    }
    return count;
}

} // namespace

std::optional<std::int64_t> utf16_length(std::string_view text) {
    std::int64_t length = 0;
    for (;;) {
        const std::size_t ascii = leading_ascii(text);
        length += static_cast<std::int64_t>(ascii);
        text.remove_prefix(ascii);
        if (text.empty()) {
            return length;
        }
        const sequence next = sequence_of(static_cast<unsigned char>(text.front()));
        if (next.length == 0 || next.length > text.size()) {
            return std::nullopt;
        }
        if (!in_range(text[1], next.second_from, next.second_to)) {
            return std::nullopt;
        }
        for (std::size_t i = 2; i < next.length; ++i) {
            if (!in_range(text[i], 0x80, 0xBF)) {
                return std::nullopt;
            }
        }
        length += next.length == 4 ? 2 : 1;
        text.remove_prefix(next.length);
    }
}

void append_utf8(std::string& text, char32_t code_point) {
    const auto append = [&text](char32_t byte) { text.push_back(static_cast<char>(byte)); };
    const auto append_low_bits = [&](int shift) { append(0x80 | (code_point >> shift & 0x3F)); };
    if (code_point < 0x80) {
        append(code_point);
    } else if (code_point < 0x800) {
        append(0xC0 | code_point >> 6);
        append_low_bits(0);
    } else if (code_point < 0x10000) {
        append(0xE0 | code_point >> 12);
        append_low_bits(6);
        append_low_bits(0);
    } else {
        append(0xF0 | code_point >> 18);
        append_low_bits(12);
        append_low_bits(6);
        append_low_bits(0);
    }
}

} // namespace simulator
