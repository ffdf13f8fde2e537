#pragma once

/// The arithmetic of UTF-16 and UTF-8. The caller decides what becomes of unpaired surrogates.

#include <string>

namespace vandrel {

constexpr bool is_high_surrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

constexpr bool is_low_surrogate(char16_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

/// The code point of a pair of surrogates.
constexpr char32_t join_surrogates(char16_t high, char16_t low) {
    return 0x10000 + ((high - char32_t{0xD800}) << 10) + (low - char32_t{0xDC00});
}

inline void append_utf8(std::string& text, char32_t code_point) {
    if (code_point < 0x80) {
        text += static_cast<char>(code_point);
        return;
    }
    const int following = code_point < 0x800 ? 1 : code_point < 0x10000 ? 2 : 3;
    constexpr char32_t first_marks[] = {0, 0xC0, 0xE0, 0xF0};
    text += static_cast<char>(first_marks[following] | (code_point >> (6 * following)));
    for (int i = following - 1; i >= 0; --i) {
        text += static_cast<char>(0x80 | ((code_point >> (6 * i)) & 0x3F));
    }
}

} // namespace vandrel
