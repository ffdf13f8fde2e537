#pragma once

/// UTF-8 as the Unicode standard has it: no overlong forms, no surrogates, nothing above U+10FFFF.
/// Where a function says so, unpaired surrogates are allowed, in three bytes each.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace simulator {

/// How many UTF-16 code units `text` takes; none when it is not valid UTF-8.
std::optional<std::int64_t> utf16_length(std::string_view text);

/// The number of bytes of `text` before the first that is not valid UTF-8.
std::size_t valid_length(std::string_view text);

/// The UTF-16 code units of `text`, which is UTF-8 and may have unpaired surrogates of three bytes
/// each.
std::u16string utf16_of(std::string_view text);

/// Appends text of UTF-16 code units. Returns false if it has an unpaired surrogate, which takes
/// three bytes. The number of bytes must be even.
bool append_utf16(std::string& text, std::span<const std::uint8_t> bytes, bool is_big_endian);

/// Appends a code point, not above U+10FFFF. A surrogate, which UTF-8 has no form for, takes three
/// bytes.
void append_utf8(std::string& text, char32_t code_point);

} // namespace simulator
