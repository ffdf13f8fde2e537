#include "simulator/mobile_device/cf_values.h"

#include <vector>

namespace simulator {

cf_handle<CFStringRef> cf_string(std::string_view utf8) {
    return cf_handle<CFStringRef>(CFStringCreateWithBytes(
        kCFAllocatorDefault, reinterpret_cast<const std::uint8_t*>(utf8.data()),
        static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false));
}

std::string cf_text(CFStringRef string) {
    const CFIndex longest =
        CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8);
    std::vector<char> buffer(static_cast<std::size_t>(longest) + 1);
    const bool has_text = CFStringGetCString(
        string, buffer.data(), static_cast<CFIndex>(buffer.size()), kCFStringEncodingUTF8);
    return has_text ? buffer.data() : std::string();
}

std::string cf_description(CFTypeRef value) {
    const cf_handle<CFStringRef> text(CFCopyDescription(value));
    return text ? cf_text(text.get()) : std::string();
}

cf_handle<CFMutableDictionaryRef> cf_dictionary() {
    return cf_handle<CFMutableDictionaryRef>(CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

void cf_set(CFMutableDictionaryRef dictionary, std::string_view key, CFTypeRef value) {
    if (value != nullptr) {
        CFDictionarySetValue(dictionary, cf_string(key).get(), value);
    }
}

void cf_set_text(CFMutableDictionaryRef dictionary, std::string_view key, std::string_view utf8) {
    cf_set(dictionary, key, cf_string(utf8).get());
}

void cf_set_integer(CFMutableDictionaryRef dictionary, std::string_view key, std::int64_t number) {
    const cf_handle<CFNumberRef> value(
        CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &number));
    cf_set(dictionary, key, value.get());
}

void cf_set_real(CFMutableDictionaryRef dictionary, std::string_view key, double number) {
    const cf_handle<CFNumberRef> value(
        CFNumberCreate(kCFAllocatorDefault, kCFNumberFloat64Type, &number));
    cf_set(dictionary, key, value.get());
}

} // namespace simulator
