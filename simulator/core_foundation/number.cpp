#include "simulator/core_foundation/number.h"

#include <array>
#include <charconv>
#include <cmath>
#include <functional>
#include <limits>
#include <type_traits>

namespace {

/// 2^63 and 2^64: the first numbers above what 64 bits hold, with and without a sign.
constexpr double signed_end = 9223372036854775808.0;
constexpr double unsigned_end = 18446744073709551616.0;

/// An integer of 64 bits as an integer, also if it is stored as a real; other numbers unchanged. So
/// 1 and 1.0 become the same, but 0 and -0.0 do not.
__CFNumber::value_type normalised(const __CFNumber::value_type& value) {
    const auto* real = std::get_if<double>(&value);
    if (real == nullptr || *real != std::trunc(*real) || (*real == 0 && std::signbit(*real))) {
        return value;
    }
    if (*real >= -signed_end && *real < signed_end) {
        return static_cast<std::int64_t>(*real);
    }
    if (*real >= signed_end && *real < unsigned_end) {
        return static_cast<std::uint64_t>(*real);
    }
    return value;
}

bool is_nan(const __CFNumber::value_type& value) {
    const auto* real = std::get_if<double>(&value);
    return real != nullptr && std::isnan(*real);
}

/// The low 64 bits of `real` without its fraction; 0 if it is not finite.
std::uint64_t low_bits(double real) {
    if (!std::isfinite(real)) {
        return 0;
    }
    const double rest = std::fmod(std::trunc(real), unsigned_end);
    return rest < 0 ? 0 - static_cast<std::uint64_t>(-rest) : static_cast<std::uint64_t>(rest);
}

/// Stores the low bits of `value`. Returns whether they are `value`, either unsigned or signed.
template<class Integer>
bool store_integer(const __CFNumber::value_type& value, void* result) {
    auto& out = *static_cast<Integer*>(result);
    if (const auto* whole = std::get_if<std::int64_t>(&value)) {
        using unsigned_type = std::make_unsigned_t<Integer>;
        out = static_cast<Integer>(*whole);
        return out == *whole || (*whole >= 0 && static_cast<unsigned_type>(*whole) ==
                                                    static_cast<std::uint64_t>(*whole));
    }
    if (const auto* large = std::get_if<std::uint64_t>(&value)) {
        out = static_cast<Integer>(*large);
        return sizeof out == sizeof *large;
    }
    const double real = std::get<double>(value);
    out = static_cast<Integer>(low_bits(real));
    return real == 0;
}

bool store_real(const __CFNumber::value_type& value, void* result) {
    auto& out = *static_cast<double*>(result);
    std::visit([&out](auto number) { out = static_cast<double>(number); }, value);
    return std::holds_alternative<double>(value) || normalised(out) == value;
}

} // namespace

const simulator::runtime_type& __CFNumber::static_type() {
    static const auto& type = *new simulator::runtime_type("CFNumber");
    return type;
}

bool __CFNumber::equals(const object& other) const {
    const auto& others = static_cast<const __CFNumber&>(other).value;
    if (is_nan(value) || is_nan(others)) {
        return is_nan(value) && is_nan(others);
    }
    return normalised(value) == normalised(others);
}

CFHashCode __CFNumber::hash() const {
    return is_nan(value) ? 0 : std::hash<value_type>()(normalised(value));
}

std::string __CFNumber::describe() const {
    return simulator::number_text(value);
}

namespace simulator {

std::string number_text(const __CFNumber::value_type& value) {
    const auto* real = std::get_if<double>(&value);
    if (real == nullptr) {
        return std::holds_alternative<std::int64_t>(value)
                   ? std::to_string(std::get<std::int64_t>(value))
                   : std::to_string(std::get<std::uint64_t>(value));
    }
    if (std::isnan(*real)) {
        return "nan";
    }
    if (std::isinf(*real)) {
        return *real > 0 ? "+infinity" : "-infinity";
    }
    if (*real == 0) {
        return "0.0";
    }
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), *real,
                                   std::chars_format::general, 17);
    return {text.data(), end.ptr};
}

} // namespace simulator

CFTypeID CFNumberGetTypeID() {
    return __CFNumber::static_type().id();
}

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType type, const void* value) {
    switch (type) {
    case kCFNumberSInt16Type:
        return simulator::create<__CFNumber>(
            std::int64_t{*static_cast<const std::int16_t*>(value)});
    case kCFNumberSInt32Type:
        return simulator::create<__CFNumber>(
            std::int64_t{*static_cast<const std::int32_t*>(value)});
    case kCFNumberSInt64Type:
    case kCFNumberCFIndexType:
        return simulator::create<__CFNumber>(*static_cast<const std::int64_t*>(value));
    case kCFNumberFloat64Type:
        return simulator::create<__CFNumber>(*static_cast<const double*>(value));
    default:
        simulator::misuse(__func__, "unknown number type");
    }
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
    const __CFNumber::value_type& own = simulator::checked(number).value;
    switch (type) {
    case kCFNumberSInt16Type:
        return store_integer<std::int16_t>(normalised(own), value);
    case kCFNumberSInt32Type:
        return store_integer<std::int32_t>(normalised(own), value);
    case kCFNumberSInt64Type:
    case kCFNumberCFIndexType:
        return store_integer<std::int64_t>(normalised(own), value);
    case kCFNumberFloat64Type:
        return store_real(own, value);
    default:
        simulator::misuse(__func__, "unknown number type");
    }
}
