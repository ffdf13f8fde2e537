#pragma once

#include <string>

namespace vandrel {

/// A surrogate without its other half, which no UTF-8 text can have, becomes U+FFFD.
std::string utf16_to_utf8(const std::u16string& text);

} // namespace vandrel
