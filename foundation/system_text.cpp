#include "foundation/system_text.h"

#include "foundation/utf16.h"
#include "platform/native_error.h"

#include <cstddef>
#include <locale>

namespace vandrel {

std::string system_text(std::int32_t code) {
    return without_trailing_space(readable_utf8(native_error_text(code)));
}

std::string readable_utf8(std::u16string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        if (is_high_surrogate(unit)) {
            ++i;
            if (i < text.size() && is_low_surrogate(text[i])) {
                append_utf8(result, join_surrogates(unit, text[i]));
            }
        } else if (!is_low_surrogate(unit)) {
            append_utf8(result, unit);
        }
    }
    return result;
}

std::string without_trailing_space(std::string text) {
    const std::locale global;
    const auto& type = std::use_facet<std::ctype<char>>(global);
    constexpr auto white_space =
        static_cast<std::ctype_base::mask>(std::ctype_base::space | std::ctype_base::blank);
    while (!text.empty() && type.is(white_space, text.back())) {
        text.pop_back();
    }
    return text;
}

} // namespace vandrel
