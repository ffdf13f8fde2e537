#pragma once

/// Texts in pages.

#include <string>
#include <string_view>

namespace vandrel::station {

/// `text` as the content of an element or the quoted value of an attribute: printable characters in
/// UTF-8, with those that markup is made of escaped.
std::string markup_text(std::string_view text);

} // namespace vandrel::station
