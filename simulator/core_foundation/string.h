#pragma once

/// Strings, kept as UTF-8.

#include "simulator/core_foundation/object.h"

#include <string>
#include <string_view>

struct __CFString final : simulator::object {
    /// `utf8` is valid and takes `utf16_length` UTF-16 code units.
    __CFString(std::string utf8, CFIndex utf16_length);
    static const simulator::runtime_type& static_type();

    bool equals(const object& other) const override;
    CFHashCode hash() const override;
    std::string describe() const override { return utf8; }

    const std::string utf8;
    const CFIndex utf16_length;
};

namespace simulator {

/// A new string; null when `utf8` is not valid UTF-8, or when it has been told to fail.
CFStringRef make_string(std::string utf8);

/// A string of one unpaired surrogate, which has no UTF-8 form; null when it has been told to fail.
CFStringRef make_unpaired_surrogate();

/// The text of a string; valid while the string lives. For functions of the platform, on whose
/// behalf misuse is reported.
std::string_view text_of(CFStringRef string, const char* function = __builtin_FUNCTION());

} // namespace simulator
