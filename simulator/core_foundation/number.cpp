#include "simulator/core_foundation/number.h"

#include <array>
#include <charconv>
#include <cmath>
#include <functional>
#include <limits>
#include <optional>

namespace {

/// 2^63 and 2^64: the first numbers above what 64 bits hold, with and without a sign.
constexpr double signed_end = 9223372036854775808.0;
constexpr double unsigned_end = 18446744073709551616.0;

/// A whole number that 64 bits hold, in the alternative of whole numbers; others as they are. So
/// 1 and 1.0 become the same.
__CFNumber::value_type normalised(const __CFNumber::value_type& value) {
    const auto* real = std::get_if<double>(&value);
    if (real == nullptr || *real != std::trunc(*real)) {
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

/// Stores the integer nearest to `value`; true when it is the same number.
template<class Integer>
bool store_integer(const __CFNumber::value_type& value, void* result) {
    using limits = std::numeric_limits<Integer>;
    auto& out = *static_cast<Integer*>(result);
    if (const auto* whole = std::get_if<std::int64_t>(&value)) {
        out = static_cast<Integer>(
            std::min<std::int64_t>(std::max<std::int64_t>(*whole, limits::min()), limits::max()));
        return out == *whole;
    }
    if (std::holds_alternative<std::uint64_t>(value)) {
        out = limits::max();
        return false;
    }
    const double real = std::get<double>(value);
    if (std::isnan(real)) {
        out = 0;
        return false;
    }
    // A fraction, or beyond 64 bits; the comparisons are exact at the ends of every width.
    if (real >= -static_cast<double>(limits::min())) {
        out = limits::max();
    } else if (real <= static_cast<double>(limits::min())) {
        out = limits::min();
    } else {
        out = static_cast<Integer>(real);
    }
    return false;
}

bool store_real(const __CFNumber::value_type& value, void* result) {
    auto& out = *static_cast<double*>(result);
    std::visit([&out](auto number) { out = static_cast<double>(number); }, value);
    const bool is_nan = std::isnan(out);
    return is_nan || normalised(out) == value || std::holds_alternative<double>(value);
}

} // namespace

const simulator::runtime_type& __CFNumber::static_type() {
    static const auto& type = *new simulator::runtime_type("CFNumber");
    return type;
}

bool __CFNumber::equals(const object& other) const {
    return normalised(value) == normalised(static_cast<const __CFNumber&>(other).value);
}

CFHashCode __CFNumber::hash() const {
    return std::hash<value_type>()(normalised(value));
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
