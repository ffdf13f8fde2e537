#include "simulator/core_foundation/string.h"

#include "simulator/core_foundation/utf8.h"

#include <cstring>
#include <functional>
#include <mutex>
#include <unordered_map>

__CFString::__CFString(std::string text, CFIndex length)
    : object(static_type()), utf8(std::move(text)), utf16_length(length) {}

const simulator::runtime_type& __CFString::static_type() {
    static const auto& type = *new simulator::runtime_type("CFString");
    return type;
}

bool __CFString::equals(const object& other) const {
    return utf8 == static_cast<const __CFString&>(other).utf8;
}

CFHashCode __CFString::hash() const {
    return std::hash<std::string>()(utf8);
}

namespace simulator {

namespace {

/// As three bytes of what would be UTF-8 if surrogates were allowed there.
constexpr const char* unpaired_surrogate = "\xED\xA0\x80";

} // namespace

CFStringRef make_string(std::string utf8) {
    const auto length = utf16_length(utf8);
    return length ? create<__CFString>(std::move(utf8), *length) : nullptr;
}

CFStringRef make_unpaired_surrogate() {
    return create<__CFString>(unpaired_surrogate, 1);
}

std::string_view text_of(CFStringRef string, const char* function) {
    return checked(string, function).utf8;
}

} // namespace simulator

using simulator::checked;

CFTypeID CFStringGetTypeID() {
    return __CFString::static_type().id();
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* text, CFStringEncoding encoding) {
    const bool readable = text != nullptr && encoding == kCFStringEncodingUTF8;
    return readable ? simulator::make_string(text) : nullptr;
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const std::uint8_t* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean) {
    if (count < 0 || encoding != kCFStringEncodingUTF8) {
        return nullptr;
    }
    return simulator::make_string(
        std::string(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(count)));
}

CFIndex CFStringGetLength(CFStringRef string) {
    return checked(string).utf16_length;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding) {
    // A character of four bytes is two code units.
    return 3 * length;
}

CFRange CFStringFind(CFStringRef string, CFStringRef string_to_find, CFStringCompareFlags options) {
    const std::string_view text = checked(string).utf8;
    const std::string_view wanted = checked(string_to_find).utf8;
    if (options != 0) {
        simulator::misuse(__func__, "options are not supported");
    }
    // Valid UTF-8 is found where a character begins only.
    const std::size_t position = wanted.empty() ? std::string_view::npos : text.find(wanted);
    if (position == std::string_view::npos) {
        return {kCFNotFound, 0};
    }
    return {*simulator::utf16_length(text.substr(0, position)),
            checked(string_to_find).utf16_length};
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size,
                           CFStringEncoding encoding) {
    const std::string& text = checked(string).utf8;
    if (encoding != kCFStringEncodingUTF8 || size <= static_cast<CFIndex>(text.size()) ||
        text == simulator::unpaired_surrogate) {
        return false;
    }
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return true;
}

CFStringRef __CFStringMakeConstantString(const char* text) {
    static auto& mutex = *new std::mutex;
    static auto& strings = *new std::unordered_map<std::string, CFStringRef>;
    const std::lock_guard lock(mutex);
    CFStringRef& string = strings[text];
    if (string == nullptr) {
        const auto length = simulator::utf16_length(text);
        if (!length) {
            simulator::misuse(__func__, "literal that is not UTF-8");
        }
        string = simulator::create_immortal<__CFString>(text, *length);
    }
    return string;
}
