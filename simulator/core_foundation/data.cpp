#include "simulator/core_foundation/data.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <string_view>

__CFData::__CFData(std::vector<std::uint8_t> own_bytes)
    : object(static_type()), storage(std::move(own_bytes)), bytes(storage) {}

__CFData::__CFData(std::span<const std::uint8_t> callers_bytes, bool frees_bytes)
    : object(static_type()), bytes(callers_bytes), frees_callers_bytes(frees_bytes) {}

__CFData::~__CFData() {
    if (frees_callers_bytes) {
        std::free(const_cast<std::uint8_t*>(bytes.data()));
    }
}

const simulator::runtime_type& __CFData::static_type() {
    static const auto& type = *new simulator::runtime_type("CFData");
    return type;
}

bool __CFData::equals(const object& other) const {
    return std::ranges::equal(bytes, static_cast<const __CFData&>(other).bytes);
}

CFHashCode __CFData::hash() const {
    const auto* text = reinterpret_cast<const char*>(bytes.data());
    return std::hash<std::string_view>()({text, bytes.size()});
}

std::string __CFData::describe() const {
    constexpr std::size_t shown_bytes = 16;
    constexpr std::string_view digits = "0123456789abcdef";
    std::string result = "<" + std::to_string(bytes.size()) + " bytes:";
    for (const std::uint8_t byte : bytes.first(std::min(bytes.size(), shown_bytes))) {
        result += ' ';
        result += digits[byte >> 4];
        result += digits[byte & 0xF];
    }
    return result + (bytes.size() > shown_bytes ? " ...>" : ">");
}

CFTypeID CFDataGetTypeID() {
    return __CFData::static_type().id();
}

CFDataRef CFDataCreate(CFAllocatorRef, const std::uint8_t* bytes, CFIndex count) {
    if (count < 0) {
        simulator::misuse(__func__, "negative count");
    }
    return simulator::create<__CFData>(std::vector<std::uint8_t>(bytes, bytes + count));
}

CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef, const std::uint8_t* bytes, CFIndex count,
                                      CFAllocatorRef deallocator) {
    if (count < 0) {
        simulator::misuse(__func__, "negative count");
    }
    return simulator::create<__CFData>(
        std::span<const std::uint8_t>(bytes, static_cast<std::size_t>(count)),
        deallocator != kCFAllocatorNull);
}

const std::uint8_t* CFDataGetBytePtr(CFDataRef data) {
    return simulator::checked(data).bytes.data();
}

CFIndex CFDataGetLength(CFDataRef data) {
    return static_cast<CFIndex>(simulator::checked(data).bytes.size());
}
