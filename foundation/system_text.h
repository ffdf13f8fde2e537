#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vandrel {

/// The system's text for a Windows error code, in UTF-8, without white space at its end. Empty when
/// the system has none.
std::string system_text(std::int32_t code);

/// The characters of `text` that can stand in UTF-8. Of broken surrogates nothing is left: a low
/// one that stands alone is dropped, and a high one together with the unit after it.
std::string readable_utf8(std::u16string_view text);

/// `text` without what the global locale takes for white space at its end.
std::string without_trailing_space(std::string text);

/// `text` without the line break at its end, be it "\r\n" or "\n"; without one at most. A line feed
/// that is all of the text stays.
std::string without_line_break(std::string text);

} // namespace vandrel
