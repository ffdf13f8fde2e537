#pragma once

/// Helpers that create and read CoreFoundation's values. They use only functions that the platform
/// declares.

#include "platform/core_foundation.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

namespace simulator {

struct cf_release {
    void operator()(CFTypeRef reference) const { CFRelease(reference); }
};

/// Owns one reference, as in `cf_handle<CFStringRef>`.
template<class Ref>
using cf_handle = std::unique_ptr<std::remove_pointer_t<Ref>, cf_release>;

/// A new reference to `reference`, which may be null.
template<class Ref>
cf_handle<Ref> cf_retained(Ref reference) {
    if (reference != nullptr) {
        CFRetain(reference);
    }
    return cf_handle<Ref>(reference);
}

/// `value` as a `Ref`; null if it is null or not of the type `type`. Borrowed, as in
/// `cf_cast<CFStringRef>(value, CFStringGetTypeID())`.
template<class Ref>
Ref cf_cast(CFTypeRef value, CFTypeID type) {
    return value != nullptr && CFGetTypeID(value) == type ? static_cast<Ref>(value) : nullptr;
}

/// A new string; null when `utf8` is not valid UTF-8, or when its creation was set to fail
/// (accounting.h).
cf_handle<CFStringRef> cf_string(std::string_view utf8);

/// The text of `string`, up to its first zero byte; empty when it has no UTF-8 form.
std::string cf_text(CFStringRef string);

/// A text for diagnostics.
std::string cf_description(CFTypeRef value);

/// A new, empty dictionary; null when its creation was set to fail.
cf_handle<CFMutableDictionaryRef> cf_dictionary();

/// Each stores a value in `dictionary`. A null value, and a text that is not valid UTF-8, is left
/// out.
void cf_set(CFMutableDictionaryRef dictionary, std::string_view key, CFTypeRef value);
void cf_set_text(CFMutableDictionaryRef dictionary, std::string_view key, std::string_view utf8);
void cf_set_integer(CFMutableDictionaryRef dictionary, std::string_view key, std::int64_t number);
void cf_set_real(CFMutableDictionaryRef dictionary, std::string_view key, double number);

} // namespace simulator
