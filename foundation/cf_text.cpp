#include "foundation/cf_text.h"

#include <vector>

namespace vandrel {

namespace {

/// noexcept: if the allocation fails, the process ends.
std::vector<char> make_zeroed_buffer(CFIndex size) noexcept {
    return std::vector<char>(static_cast<std::size_t>(size), '\0');
}

} // namespace

std::optional<std::string> copy_utf8(CFStringRef string) {
    if (string == nullptr) {
        return std::nullopt;
    }
    const CFIndex size =
        CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8) + 1;
    std::vector<char> buffer = make_zeroed_buffer(size);
    if (!CFStringGetCString(string, buffer.data(), size, kCFStringEncodingUTF8)) {
        return std::nullopt;
    }
    return buffer.data();
}

std::string cfstring_to_string(CFStringRef string) {
    return copy_utf8(string).value_or(std::string());
}

cf_handle<CFStringRef> make_cfstring(const std::string& text) {
    return cf_handle<CFStringRef>(
        CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8));
}

std::string describe_cftype(CFTypeRef object) {
    constexpr auto no_description = "(null)";
    if (object == nullptr) {
        return no_description;
    }
    const cf_handle<CFStringRef> description(CFCopyDescription(object));
    return description ? cfstring_to_string(description.get()) : no_description;
}

} // namespace vandrel
