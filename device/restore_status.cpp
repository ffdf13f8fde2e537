#include "device/restore_status.h"

#include "foundation/cf_text.h"

#include <utility>

namespace vandrel {

namespace {

/// The value of `key` if it is there and has the type `type`, else null.
const void* typed_value(CFDictionaryRef dictionary, CFStringRef key, CFTypeID type) {
    const void* value = CFDictionaryGetValue(dictionary, key);
    return value != nullptr && CFGetTypeID(value) == type ? value : nullptr;
}

template<class Integer>
std::optional<Integer> number_value(CFDictionaryRef dictionary, CFStringRef key,
                                    CFNumberType type) {
    const auto number = static_cast<CFNumberRef>(typed_value(dictionary, key, CFNumberGetTypeID()));
    Integer value = 0;
    if (number == nullptr || !CFNumberGetValue(number, type, &value)) {
        return std::nullopt;
    }
    return value;
}

} // namespace

std::optional<restore_status> parse_restore_status(CFDictionaryRef statusDict) noexcept {
    if (CFGetTypeID(statusDict) != CFDictionaryGetTypeID()) {
        return std::nullopt;
    }
    auto status = copy_utf8(
        static_cast<CFStringRef>(typed_value(statusDict, CFSTR("Status"), CFStringGetTypeID())));
    const auto operation =
        number_value<std::int32_t>(statusDict, CFSTR("Operation"), kCFNumberSInt32Type);
    const auto progress =
        number_value<std::int64_t>(statusDict, CFSTR("Progress"), kCFNumberSInt64Type);
    if (!status || !operation || !progress) {
        return std::nullopt;
    }
    return restore_status{std::move(*status), *operation, *progress};
}

} // namespace vandrel
