#include "launcher/utf16_to_utf8.h"

#include "foundation/utf16.h"

#include <cstddef>

namespace vandrel {

std::string utf16_to_utf8(const std::u16string& text) {
    constexpr char32_t replacement_character = 0xFFFD;
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        if (is_high_surrogate(unit) && i + 1 < text.size() && is_low_surrogate(text[i + 1])) {
            ++i;
            append_utf8(result, join_surrogates(unit, text[i]));
        } else if (is_high_surrogate(unit) || is_low_surrogate(unit)) {
            append_utf8(result, replacement_character);
        } else {
            append_utf8(result, unit);
        }
    }
    return result;
}

} // namespace vandrel
