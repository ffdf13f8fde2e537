#include "simulator/core_foundation/property_list.h"

#include "simulator/core_foundation/data.h"
#include "simulator/core_foundation/dictionary.h"
#include "simulator/core_foundation/string.h"
#include "simulator/core_foundation/utf8.h"

namespace simulator {

owned<const object> create_string_value(std::string utf8) {
    const auto length = utf16_length(utf8);
    if (!length) {
        throw property_list_error("text that is not UTF-8");
    }
    return create_value<__CFString>(std::move(utf8), *length);
}

namespace {

/// CoreFoundation's own codes for property lists that cannot be read or written.
constexpr CFIndex unreadable = 3840;
constexpr CFIndex unwritable = 3851;

CFErrorRef create_error(CFIndex code, const char* description) {
    const CFStringRef key =
        code == unwritable ? CFSTR("NSDebugDescription") : kCFErrorLocalizedDescriptionKey;
    const owned<const __CFString> text(make_string(description));
    const owned<__CFDictionary> user_info(create<__CFDictionary>());
    if (!text || !user_info) {
        return nullptr;
    }
    user_info->table.set(*key, text.get());
    return CFErrorCreate(kCFAllocatorDefault, CFSTR("NSCocoaErrorDomain"), code, user_info.get());
}

/// The result of `make`; null if it throws. For a bad property list, `*error` is then set, unless
/// `error` is null.
template<class Make>
auto null_on_failure(CFIndex code, CFErrorRef* error, Make make) -> decltype(make()) {
    if (error != nullptr) {
        *error = nullptr;
    }
    try {
        return make();
    } catch (const property_list_error& failure) {
        if (error != nullptr) {
            *error = create_error(code, failure.what());
        }
    } catch (const creation_failed&) {
    }
    return nullptr;
}

} // namespace

} // namespace simulator

CFDataRef CFPropertyListCreateData(CFAllocatorRef, CFPropertyListRef plist,
                                   CFPropertyListFormat format, CFOptionFlags, CFErrorRef* error) {
    const simulator::object& value = simulator::checked(plist);
    return simulator::null_on_failure(simulator::unwritable, error, [&]() -> CFDataRef {
        if (format != kCFPropertyListXMLFormat_v1_0) {
            throw simulator::property_list_error("only XML can be written");
        }
        const std::string text = simulator::write_xml_property_list(value);
        const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
        return simulator::create<__CFData>(std::vector<std::uint8_t>(bytes, bytes + text.size()));
    });
}

CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef, CFDataRef data, CFOptionFlags,
                                               CFPropertyListFormat* format, CFErrorRef* error) {
    const auto bytes = simulator::checked(data).bytes;
    return simulator::null_on_failure(simulator::unreadable, error, [&]() -> CFPropertyListRef {
        const bool is_binary = simulator::is_binary_property_list(bytes);
        auto value = is_binary ? simulator::read_binary_property_list(bytes)
                               : simulator::read_xml_property_list(bytes);
        if (format != nullptr) {
            *format = is_binary ? kCFPropertyListBinaryFormat_v1_0 : kCFPropertyListXMLFormat_v1_0;
        }
        return value.release();
    });
}
