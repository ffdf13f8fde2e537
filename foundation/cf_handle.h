#pragma once

/// Owning handles of CoreFoundation objects.

#include "platform/core_foundation.h"

#include <memory>
#include <type_traits>

namespace vandrel {

/// Releases a CoreFoundation object; null is ignored.
struct CFTypeDeleter {
    void operator()(CFTypeRef object) const noexcept {
        if (object != nullptr) {
            CFRelease(object);
        }
    }
};

/// Owns one reference to the object of a CoreFoundation reference type, as in
/// `cf_handle<CFStringRef>`. Adopts what Create and Copy functions return.
template<class Ref>
using cf_handle = std::unique_ptr<std::remove_pointer_t<Ref>, CFTypeDeleter>;

/// Owns an error. A function that throws an error of CoreFoundation throws it as this type.
using cf_error_handle = cf_handle<CFErrorRef>;

} // namespace vandrel
