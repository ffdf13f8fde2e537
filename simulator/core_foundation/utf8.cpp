#include "simulator/core_foundation/utf8.h"

#include <cstring>

namespace simulator {

namespace {

/// How a sequence continues after its first byte. The second byte shows overlong forms, surrogates
/// and code points above U+10FFFF.
struct sequence {
    std::size_t length;
    unsigned char second_from;
    unsigned char second_to;
};

/// Length 0: no sequence of several bytes begins with this byte.
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

/// The number of ASCII bytes at the start. Nearly all bytes are ASCII, so this tests eight at a
/// time.
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

/// The length in bytes of the character of several bytes at the start of `text`; 0 if there is
/// none.
std::size_t leading_sequence(std::string_view text) {
    const sequence next = sequence_of(static_cast<unsigned char>(text.front()));
    if (next.length == 0 || next.length > text.size() ||
        !in_range(text[1], next.second_from, next.second_to)) {
        return 0;
    }
    for (std::size_t i = 2; i < next.length; ++i) {
        if (!in_range(text[i], 0x80, 0xBF)) {
            return 0;
        }
    }
    return next.length;
}

/// Removes the valid start of `text`. Returns the number of UTF-16 code units that it takes.
std::int64_t skip_valid(std::string_view& text) {
    std::int64_t length = 0;
    for (;;) {
        const std::size_t ascii = leading_ascii(text);
        length += static_cast<std::int64_t>(ascii);
        text.remove_prefix(ascii);
        const std::size_t bytes = text.empty() ? 0 : leading_sequence(text);
        if (bytes == 0) {
            return length;
        }
        length += bytes == 4 ? 2 : 1;
        text.remove_prefix(bytes);
    }
}

} // namespace

std::optional<std::int64_t> utf16_length(std::string_view text) {
    const std::int64_t length = skip_valid(text);
    return text.empty() ? std::optional(length) : std::nullopt;
}

std::size_t valid_length(std::string_view text) {
    const std::size_t size = text.size();
    skip_valid(text);
    return size - text.size();
}

namespace {

/// Removes and returns the first code point of a text, which is not empty. It is valid, but for
/// surrogates of three bytes.
char32_t take_code_point(std::string_view& text) {
    const auto first = static_cast<unsigned char>(text.front());
    const std::size_t bytes = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    auto code_point = static_cast<char32_t>(first & (bytes == 1 ? 0x7F : 0x7F >> bytes));
    for (const char byte : text.substr(1, bytes - 1)) {
        code_point = code_point << 6 | (static_cast<unsigned char>(byte) & 0x3F);
    }
    text.remove_prefix(bytes);
    return code_point;
}

} // namespace

std::u16string utf16_of(std::string_view text) {
    std::u16string result;
    while (!text.empty()) {
        const char32_t code_point = take_code_point(text);
        if (code_point >= 0x10000) {
            const char32_t bits = code_point - 0x10000;
            result += static_cast<char16_t>(0xD800 | bits >> 10);
            result += static_cast<char16_t>(0xDC00 | (bits & 0x3FF));
        } else {
            result += static_cast<char16_t>(code_point);
        }
    }
    return result;
}

bool append_utf16(std::string& text, std::span<const std::uint8_t> bytes, bool is_big_endian) {
    const std::size_t high = is_big_endian ? 0 : 1;
    const auto peek = [&bytes, high] {
        return static_cast<char32_t>(bytes[high] << 8 | bytes[1 - high]);
    };
    const auto take = [&bytes, &peek] {
        const char32_t unit = peek();
        bytes = bytes.subspan(2);
        return unit;
    };
    const auto is_low = [](char32_t unit) { return unit >= 0xDC00 && unit < 0xE000; };
    bool is_valid = true;
    while (!bytes.empty()) {
        char32_t code_point = take();
        const bool is_high = code_point >= 0xD800 && code_point < 0xDC00;
        if (is_high && !bytes.empty() && is_low(peek())) {
            code_point = 0x10000 + ((code_point - 0xD800) << 10) + (take() - 0xDC00);
        } else if (is_high || is_low(code_point)) {
            is_valid = false;
        }
        append_utf8(text, code_point);
    }
    return is_valid;
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
