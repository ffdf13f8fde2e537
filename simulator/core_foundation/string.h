#pragma once

/// Strings, kept as UTF-8.

#include "simulator/core_foundation/object.h"

#include <string>
#include <string_view>

struct __CFString final : simulator::object {
    /// `utf8` takes `utf16_length` UTF-16 code units. If it has unpaired surrogates, each is three
    /// bytes, in the form that generalises UTF-8 to surrogates, and `is_valid` is false.
    __CFString(std::string utf8, CFIndex utf16_length, bool is_valid = true);
    static const simulator::runtime_type& static_type();

    bool equals(const object& other) const override;
    CFHashCode hash() const override;
    std::string describe() const override;
    std::string describe_inside() const override { return std::string(valid_part()); }

    /// The text up to the first unpaired surrogate.
    std::string_view valid_part() const;

    const std::string utf8;
    // On POSIX, together in eight bytes: there can be millions of strings.
    const CFIndex utf16_length : 63;
    const bool is_valid : 1;
};

namespace simulator {

/// A new string; null if `utf8` is not valid UTF-8, or if the creation was set to fail.
CFStringRef make_string(std::string utf8);

/// A string of one unpaired surrogate, which has no UTF-8 form; null if the creation was set to
/// fail.
CFStringRef make_unpaired_surrogate();

/// Whether `left` is before `right` in the order of their UTF-16 code units.
bool is_before(const __CFString& left, const __CFString& right);

} // namespace simulator
