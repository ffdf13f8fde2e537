#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vandrel {

/// The system's text for a Windows error code, in UTF-8, without white space at its end. Empty when
/// the system has none; native_last_error then has the reason.
std::string system_text(std::int32_t code);

/// `text` in UTF-8. Unpaired surrogates are dropped. An unpaired high surrogate is dropped together
/// with the next unit.
std::string readable_utf8(std::u16string_view text);

/// `text` without the characters at its end that the global locale classes as white space.
std::string without_trailing_space(std::string text);

} // namespace vandrel
