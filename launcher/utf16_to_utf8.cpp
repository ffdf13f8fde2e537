#include "launcher/utf16_to_utf8.h"

#include <cstddef>

namespace vandrel {

namespace {

constexpr char32_t replacement_character = 0xFFFD;

bool is_high_surrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool is_low_surrogate(char16_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

void append_utf8(std::string& text, char32_t code_point) {
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

} // namespace

std::string utf16_to_utf8(const std::u16string& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        if (is_high_surrogate(unit) && i + 1 < text.size() && is_low_surrogate(text[i + 1])) {
            ++i;
            append_utf8(result,
                        0x10000 + ((unit - char32_t{0xD800}) << 10) + (text[i] - char32_t{0xDC00}));
        } else if (is_high_surrogate(unit) || is_low_surrogate(unit)) {
            append_utf8(result, replacement_character);
        } else {
            append_utf8(result, unit);
        }
    }
    return result;
}

} // namespace vandrel
