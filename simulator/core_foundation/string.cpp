#include "simulator/core_foundation/string.h"

#include "simulator/core_foundation/utf8.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>
#include <mutex>
#include <unordered_map>

__CFString::__CFString(std::string text, CFIndex length, bool valid)
    // The mask, which no length exceeds, keeps the compiler from warning of lost bits. It is a
    // literal because, without optimisation, nothing else does.
    : object(static_type()),
      utf8(std::move(text)),
      utf16_length(length & 0x3fff'ffff'ffff'ffff),
      is_valid(valid) {}

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

std::string __CFString::describe() const {
    std::array<char, 32> address{};
    std::snprintf(address.data(), address.size(), "%p", static_cast<const void*>(this));
    const std::string_view prefix = address[0] == '0' && address[1] == 'x' ? "" : "0x";
    return "<CFString " + std::string(prefix) + address.data() + ">{contents = \"" +
           std::string(valid_part()) + "\"}";
}

std::string_view __CFString::valid_part() const {
    return is_valid ? utf8 : std::string_view(utf8).substr(0, simulator::valid_length(utf8));
}

namespace simulator {

namespace {

/// From this byte on, UTF-8 and UTF-16 have different orders: U+E000 to U+FFFF begin with this byte
/// or the next one, and characters of two code units with a later one.
constexpr unsigned char first_of_private_use = 0xEE;

unsigned char place_in_utf16(char byte) {
    const auto value = static_cast<unsigned char>(byte);
    const bool is_moved = value == first_of_private_use || value == first_of_private_use + 1;
    return static_cast<unsigned char>(value + (is_moved ? 0x10 : 0));
}

CFStringRef make_unmarked_string(std::string_view utf8) {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    return make_string(std::string(utf8.substr(utf8.starts_with(mark) ? mark.size() : 0)));
}

} // namespace

CFStringRef make_string(std::string utf8) {
    const auto length = utf16_length(utf8);
    return length ? create<__CFString>(std::move(utf8), *length) : nullptr;
}

CFStringRef make_unpaired_surrogate() {
    return create<__CFString>("\xED\xA0\x80", 1, false);
}

bool is_before(const __CFString& left, const __CFString& right) {
    if (!left.is_valid || !right.is_valid) {
        return utf16_of(left.utf8) < utf16_of(right.utf8);
    }
    const auto [first, second] = std::ranges::mismatch(left.utf8, right.utf8);
    if (first == left.utf8.end() || second == right.utf8.end()) {
        return second != right.utf8.end();
    }
    return place_in_utf16(*first) < place_in_utf16(*second);
}

} // namespace simulator

using simulator::checked;

CFTypeID CFStringGetTypeID() {
    return __CFString::static_type().id();
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* text, CFStringEncoding encoding) {
    const bool readable = text != nullptr && encoding == kCFStringEncodingUTF8;
    return readable ? simulator::make_unmarked_string(text) : nullptr;
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const std::uint8_t* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean) {
    if (count < 0 || encoding != kCFStringEncodingUTF8) {
        return nullptr;
    }
    return simulator::make_unmarked_string(
        {reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(count)});
}

CFIndex CFStringGetLength(CFStringRef string) {
    return checked(string).utf16_length;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding) {
    // A character of four bytes is two code units.
    constexpr CFIndex bytes_a_unit = 3;
    return length > std::numeric_limits<CFIndex>::max() / bytes_a_unit ? kCFNotFound
                                                                       : bytes_a_unit * length;
}

CFRange CFStringFind(CFStringRef string, CFStringRef string_to_find, CFStringCompareFlags options) {
    const std::string_view text = checked(string).utf8;
    const std::string_view wanted = checked(string_to_find).utf8;
    if (options != 0) {
        simulator::misuse(__func__, "options are not supported");
    }
    // In UTF-8 a match can only begin where a character begins.
    const std::size_t position = wanted.empty() ? std::string_view::npos : text.find(wanted);
    if (position == std::string_view::npos) {
        return {kCFNotFound, 0};
    }
    return {static_cast<CFIndex>(simulator::utf16_of(text.substr(0, position)).size()),
            checked(string_to_find).utf16_length};
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size,
                           CFStringEncoding encoding) {
    const std::string& text = checked(string).utf8;
    if (encoding != kCFStringEncodingUTF8 || size <= static_cast<CFIndex>(text.size()) ||
        !checked(string).is_valid) {
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
