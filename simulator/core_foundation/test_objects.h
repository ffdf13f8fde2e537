#pragma once

/// Helpers that create and read the platform's objects in tests.

#include "platform/core_foundation.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace simulator::test {

struct release_reference {
    void operator()(CFTypeRef object) const { CFRelease(object); }
};

/// Owns one reference, as in `handle<CFStringRef>`.
template<class Ref>
using handle = std::unique_ptr<std::remove_pointer_t<Ref>, release_reference>;

inline handle<CFStringRef> make_string(const std::string& text) {
    return handle<CFStringRef>(
        CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8));
}

inline handle<CFNumberRef> make_number(std::int64_t value) {
    return handle<CFNumberRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value));
}

inline handle<CFNumberRef> make_real(double value) {
    return handle<CFNumberRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberFloat64Type, &value));
}

inline handle<CFDataRef> make_data(std::string_view bytes) {
    return handle<CFDataRef>(CFDataCreate(kCFAllocatorDefault,
                                          reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                          static_cast<CFIndex>(bytes.size())));
}

inline handle<CFDateRef> make_date(CFAbsoluteTime time) {
    return handle<CFDateRef>(CFDateCreate(kCFAllocatorDefault, time));
}

inline handle<CFMutableArrayRef> make_array(std::initializer_list<CFTypeRef> values = {}) {
    handle<CFMutableArrayRef> result(
        CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    for (const CFTypeRef value : values) {
        CFArrayAppendValue(result.get(), value);
    }
    return result;
}

inline handle<CFMutableDictionaryRef>
make_dictionary(std::initializer_list<std::pair<CFTypeRef, CFTypeRef>> entries = {}) {
    handle<CFMutableDictionaryRef> result(CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    for (const auto& [key, value] : entries) {
        CFDictionarySetValue(result.get(), key, value);
    }
    return result;
}

inline handle<CFMutableSetRef> make_set(std::initializer_list<CFTypeRef> members = {}) {
    handle<CFMutableSetRef> result(
        CFSetCreateMutable(kCFAllocatorDefault, 0, &kCFTypeSetCallBacks));
    for (const CFTypeRef member : members) {
        CFSetAddValue(result.get(), member);
    }
    return result;
}

/// The text of a string up to its first zero byte.
inline std::string text_of(CFStringRef string) {
    std::vector<char> buffer(static_cast<std::size_t>(
        CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8) + 1));
    if (!CFStringGetCString(string, buffer.data(), static_cast<CFIndex>(buffer.size()),
                            kCFStringEncodingUTF8)) {
        return "(no text)";
    }
    return buffer.data();
}

/// CFCopyDescription as text.
inline std::string description_of(CFTypeRef object) {
    return text_of(handle<CFStringRef>(CFCopyDescription(object)).get());
}

/// The text of a string; the description of any other object.
inline std::string content_of(CFTypeRef object) {
    return CFGetTypeID(object) == CFStringGetTypeID() ? text_of(static_cast<CFStringRef>(object))
                                                      : description_of(object);
}

inline std::string text_of(CFDataRef data) {
    return {reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
            static_cast<std::size_t>(CFDataGetLength(data))};
}

} // namespace simulator::test
