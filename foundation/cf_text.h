#pragma once

/// Conversion between strings of CoreFoundation and of the standard library. The latter are UTF-8.

#include "foundation/cf_handle.h"

#include <optional>
#include <string>

namespace vandrel {

/// The text up to its first zero byte; empty if the string is null or cannot be converted.
std::string cfstring_to_string(CFStringRef string);

/// The same, but nullopt if the string is null or cannot be converted.
std::optional<std::string> copy_utf8(CFStringRef string);

/// A new string; null when `text` is not valid UTF-8, or when the string cannot be made. A zero
/// byte ends the text.
cf_handle<CFStringRef> make_cfstring(const std::string& text);

/// CoreFoundation's own description of any object, for diagnostics; "(null)" when there is none.
std::string describe_cftype(CFTypeRef object);

} // namespace vandrel
