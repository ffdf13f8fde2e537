#include "simulator/core_foundation/dictionary.h"
#include "simulator/core_foundation/object.h"
#include "simulator/core_foundation/string.h"

#include <system_error>

struct __CFError final : simulator::object {
    __CFError(CFStringRef error_domain, CFIndex error_code, CFDictionaryRef info)
        : object(static_type()), domain(simulator::retained(error_domain)), code(error_code) {
        if (info != nullptr) {
            for (const auto& [key, value] : info->table.entries()) {
                user_info.set(*key, value.get());
            }
        }
    }
    static const simulator::runtime_type& static_type() {
        static const auto& type = *new simulator::runtime_type("CFError");
        return type;
    }

    /// What the user information has under a key, of whatever type; null when it has nothing.
    const object* detail(CFStringRef key) const {
        const auto* entry = user_info.find(*key);
        return entry == nullptr ? nullptr : entry->value.get();
    }

    bool equals(const object& other) const override {
        const auto& error = static_cast<const __CFError&>(other);
        return code == error.code && CFEqual(domain.get(), error.domain.get());
    }
    CFHashCode hash() const override { return static_cast<CFHashCode>(code); }
    std::string describe() const override {
        std::string result = "Error Domain=" + domain->utf8 + " Code=" + std::to_string(code);
        for (const CFStringRef key :
             {kCFErrorLocalizedDescriptionKey, kCFErrorLocalizedFailureReasonKey,
              CFSTR("NSDebugDescription")}) {
            if (const object* const part = detail(key)) {
                result += " \"" + part->describe_inside() + "\"";
            }
        }
        return result;
    }

    const simulator::owned<const __CFString> domain;
    const CFIndex code;
    simulator::entry_table user_info;
};

using simulator::checked;

const CFStringRef kCFErrorLocalizedDescriptionKey = CFSTR("NSLocalizedDescription");
const CFStringRef kCFErrorLocalizedFailureReasonKey = CFSTR("NSLocalizedFailureReason");

CFTypeID CFErrorGetTypeID() {
    return __CFError::static_type().id();
}

CFErrorRef CFErrorCreate(CFAllocatorRef, CFStringRef domain, CFIndex code,
                         CFDictionaryRef user_info) {
    return simulator::create<__CFError>(&checked(domain), code,
                                        user_info == nullptr ? nullptr : &checked(user_info));
}

CFStringRef CFErrorGetDomain(CFErrorRef error) {
    return checked(error).domain.get();
}

CFIndex CFErrorGetCode(CFErrorRef error) {
    return checked(error).code;
}

CFStringRef CFErrorCopyDescription(CFErrorRef error) {
    // The platform makes a text of domain and code if there is none. The simulator does not. This
    // allows tests of records without a description.
    const auto* const text = checked(error).detail(kCFErrorLocalizedDescriptionKey);
    // The value is returned whatever its type is, also a number.
    return static_cast<CFStringRef>(static_cast<CFTypeRef>(simulator::copy_reference(text)));
}

CFStringRef CFErrorCopyFailureReason(CFErrorRef error) {
    const __CFError& failure = checked(error);
    const auto* const reason = failure.detail(kCFErrorLocalizedFailureReasonKey);
    if (reason == nullptr && failure.domain->utf8 == "NSPOSIXErrorDomain" &&
        failure.code == static_cast<int>(failure.code)) {
        return simulator::make_string(
            std::generic_category().message(static_cast<int>(failure.code)));
    }
    return static_cast<CFStringRef>(static_cast<CFTypeRef>(simulator::copy_reference(reason)));
}
