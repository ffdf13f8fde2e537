#include "foundation/plist_values.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace vandrel {

namespace {

enum class value_kind { string, other_scalar, array, dictionary, set, error, unknown };

struct kind_of_type {
    CFTypeID type;
    value_kind kind;
};

value_kind kind_of(CFTypeRef value) {
    // Types are known at run time only; asking for all of them once keeps the walks cheap.
    static const auto kinds = std::to_array<kind_of_type>({
        {CFStringGetTypeID(), value_kind::string},
        {CFNumberGetTypeID(), value_kind::other_scalar},
        {CFBooleanGetTypeID(), value_kind::other_scalar},
        {CFDateGetTypeID(), value_kind::other_scalar},
        {CFDataGetTypeID(), value_kind::other_scalar},
        {CFArrayGetTypeID(), value_kind::array},
        {CFDictionaryGetTypeID(), value_kind::dictionary},
        {CFSetGetTypeID(), value_kind::set},
        {CFErrorGetTypeID(), value_kind::error},
    });
    const auto* found = std::ranges::find(kinds, CFGetTypeID(value), &kind_of_type::type);
    return found == kinds.end() ? value_kind::unknown : found->kind;
}

bool is_string(CFTypeRef value) {
    return value != nullptr && kind_of(value) == value_kind::string;
}

/// The state of one walk over a container that is being copied.
template<class Container>
struct copy_walk {
    cf_handle<Container> copy;
    std::int32_t strict;
    bool failed = false;

    void drop() { failed = failed || strict != 0; }
    cf_handle<CFTypeRef> result() {
        return failed ? nullptr : cf_handle<CFTypeRef>(copy.release());
    }
};

void copy_element(const void* value, void* context) {
    auto& walk = *static_cast<copy_walk<CFMutableArrayRef>*>(context);
    if (walk.failed) {
        return;
    }
    if (const auto copy = make_plist_compatible(value, walk.strict)) {
        CFArrayAppendValue(walk.copy.get(), copy.get());
    } else {
        walk.drop();
    }
}

void copy_entry(const void* key, const void* value, void* context) {
    auto& walk = *static_cast<copy_walk<CFMutableDictionaryRef>*>(context);
    if (walk.failed) {
        return;
    }
    const auto copy = is_string(key) ? make_plist_compatible(value, walk.strict) : nullptr;
    if (copy) {
        CFDictionarySetValue(walk.copy.get(), key, copy.get());
    } else {
        walk.drop();
    }
}

cf_handle<CFTypeRef> copy_array(CFArrayRef array, std::int32_t strict) {
    copy_walk<CFMutableArrayRef> walk{cf_handle<CFMutableArrayRef>(CFArrayCreateMutable(
                                          kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks)),
                                      strict};
    if (!walk.copy) {
        return nullptr;
    }
    CFArrayApplyFunction(array, CFRange{0, CFArrayGetCount(array)}, copy_element, &walk);
    return walk.result();
}

cf_handle<CFTypeRef> copy_dictionary(CFDictionaryRef dictionary, std::int32_t strict) {
    copy_walk<CFMutableDictionaryRef> walk{make_dictionary(), strict};
    if (!walk.copy) {
        return nullptr;
    }
    CFDictionaryApplyFunction(dictionary, copy_entry, &walk);
    return walk.result();
}

/// The state of one walk over a container that is being checked.
struct check_walk {
    CFPropertyListFormat format;
    bool valid = true;
};

void check_element(const void* value, void* context) {
    auto& walk = *static_cast<check_walk*>(context);
    walk.valid = is_valid_plist_value(value, walk.format) && walk.valid;
}

void check_entry(const void* key, const void* value, void* context) {
    auto& walk = *static_cast<check_walk*>(context);
    walk.valid = is_valid_plist_value(value, walk.format) && is_string(key) && walk.valid;
}

cf_handle<CFNumberRef> copy_code(CFErrorRef error) {
    const CFIndex code = CFErrorGetCode(error);
    return cf_handle<CFNumberRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberCFIndexType, &code));
}

} // namespace

cf_handle<CFMutableDictionaryRef> make_dictionary() {
    return cf_handle<CFMutableDictionaryRef>(CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

void set_values(CFMutableDictionaryRef dictionary,
                std::initializer_list<std::pair<CFStringRef, CFTypeRef>> entries) {
    for (const auto& [key, value] : entries) {
        if (value != nullptr) {
            CFDictionarySetValue(dictionary, key, value);
        }
    }
}

cf_handle<CFMutableDictionaryRef> cferror_to_dictionary(CFErrorRef error) {
    if (error == nullptr) {
        return nullptr;
    }
    auto dictionary = make_dictionary();
    if (!dictionary) {
        return nullptr;
    }
    set_values(
        dictionary.get(),
        {
            {CFSTR("Domain"), CFErrorGetDomain(error)},
            {CFSTR("Code"), copy_code(error).get()},
            {CFSTR("Description"), cf_handle<CFStringRef>(CFErrorCopyDescription(error)).get()},
            {CFSTR("FailureReason"), cf_handle<CFStringRef>(CFErrorCopyFailureReason(error)).get()},
        });
    return dictionary;
}

cf_handle<CFTypeRef> make_plist_compatible(CFTypeRef value, std::int32_t strict) {
    if (value == nullptr) {
        return nullptr;
    }
    switch (kind_of(value)) {
    case value_kind::string:
    case value_kind::other_scalar:
        return cf_handle<CFTypeRef>(CFRetain(value));
    case value_kind::array:
        return copy_array(static_cast<CFArrayRef>(value), strict);
    case value_kind::dictionary:
        return copy_dictionary(static_cast<CFDictionaryRef>(value), strict);
    case value_kind::error: {
        const auto error = static_cast<CFErrorRef>(const_cast<void*>(value));
        return cf_handle<CFTypeRef>(cferror_to_dictionary(error).release());
    }
    case value_kind::set:
    case value_kind::unknown:
        break;
    }
    return nullptr;
}

cf_handle<CFTypeRef> to_xml_plist_compatible(CFTypeRef value, std::int32_t strict) {
    auto converted = make_plist_compatible(value, strict);
    if (!converted && strict == 1) {
        throw std::runtime_error("Could not convert to xml plist");
    }
    return converted;
}

bool is_valid_plist_value(CFTypeRef value, CFPropertyListFormat format) {
    if (format == kCFPropertyListOpenStepFormat || value == nullptr) {
        return false;
    }
    check_walk walk{format};
    switch (kind_of(value)) {
    case value_kind::string:
    case value_kind::other_scalar:
        return true;
    case value_kind::array: {
        const auto array = static_cast<CFArrayRef>(value);
        CFArrayApplyFunction(array, CFRange{0, CFArrayGetCount(array)}, check_element, &walk);
        return walk.valid;
    }
    case value_kind::dictionary:
        CFDictionaryApplyFunction(static_cast<CFDictionaryRef>(value), check_entry, &walk);
        return walk.valid;
    case value_kind::set:
        if (format == kCFPropertyListXMLFormat_v1_0) {
            return false;
        }
        CFSetApplyFunction(static_cast<CFSetRef>(value), check_element, &walk);
        return walk.valid;
    case value_kind::error:
    case value_kind::unknown:
        break;
    }
    return false;
}

} // namespace vandrel
