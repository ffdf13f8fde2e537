#pragma once

/// UTF-8 as the Unicode standard has it: no overlong forms, no surrogates, nothing above U+10FFFF.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace simulator {

/// How many UTF-16 code units `text` takes; none when it is not valid UTF-8.
std::optional<std::int64_t> utf16_length(std::string_view text);

/// Appends a code point, which is no surrogate and not above U+10FFFF.
void append_utf8(std::string& text, char32_t code_point);

} // namespace simulator
