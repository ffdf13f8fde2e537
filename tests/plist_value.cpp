#include "tests/plist_value.h"

#include "foundation/cf_handle.h"
#include "foundation/cf_text.h"
#include "simulator/core_foundation/number.h"

#include <ostream>
#include <stdexcept>
#include <string_view>

namespace vandrel::testing {

namespace {

cf_handle<CFTypeRef> make_object(const plist_value& value);

cf_handle<CFTypeRef> adopt(CFTypeRef object) {
    return cf_handle<CFTypeRef>(object);
}

struct object_maker {
    cf_handle<CFTypeRef> operator()(const std::string& text) const {
        return adopt(make_cfstring(text).release());
    }
    cf_handle<CFTypeRef> operator()(std::int64_t number) const {
        return adopt(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &number));
    }
    cf_handle<CFTypeRef> operator()(double number) const {
        return adopt(CFNumberCreate(kCFAllocatorDefault, kCFNumberFloat64Type, &number));
    }
    cf_handle<CFTypeRef> operator()(bool truth) const {
        return adopt(CFRetain(truth ? kCFBooleanTrue : kCFBooleanFalse));
    }
    cf_handle<CFTypeRef> operator()(const data& bytes) const {
        return adopt(CFDataCreate(kCFAllocatorDefault,
                                  reinterpret_cast<const std::uint8_t*>(bytes.bytes.data()),
                                  static_cast<CFIndex>(bytes.bytes.size())));
    }
    cf_handle<CFTypeRef> operator()(const date& time) const {
        return adopt(CFDateCreate(kCFAllocatorDefault, time.time));
    }
    cf_handle<CFTypeRef> operator()(const array& elements) const {
        cf_handle<CFMutableArrayRef> result(
            CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
        for (const plist_value& element : elements) {
            CFArrayAppendValue(result.get(), make_object(element).get());
        }
        return adopt(result.release());
    }
    cf_handle<CFTypeRef> operator()(const dictionary& entries) const {
        cf_handle<CFMutableDictionaryRef> result(
            CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                      &kCFTypeDictionaryValueCallBacks));
        for (const auto& [key, value] : entries) {
            CFDictionarySetValue(result.get(), make_cfstring(key).get(), make_object(value).get());
        }
        return adopt(result.release());
    }
};

cf_handle<CFTypeRef> make_object(const plist_value& value) {
    return std::visit(object_maker(), value.value);
}

plist_value to_value(CFTypeRef object) {
    const CFTypeID type = CFGetTypeID(object);
    if (type == CFStringGetTypeID()) {
        return cfstring_to_string(static_cast<CFStringRef>(object));
    }
    if (type == CFBooleanGetTypeID()) {
        return CFBooleanGetValue(static_cast<CFBooleanRef>(object)) != 0;
    }
    if (type == CFNumberGetTypeID()) {
        // CoreFoundation's own functions treat 1.0 and 1 as equal.
        const auto& number = static_cast<CFNumberRef>(object)->value;
        if (const auto* const real = std::get_if<double>(&number)) {
            return *real;
        }
        return std::get<std::int64_t>(number);
    }
    if (type == CFDateGetTypeID()) {
        return date{CFDateGetAbsoluteTime(static_cast<CFDateRef>(object))};
    }
    if (type == CFDataGetTypeID()) {
        const auto bytes = static_cast<CFDataRef>(object);
        return data{std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(bytes)),
                                static_cast<std::size_t>(CFDataGetLength(bytes)))};
    }
    if (type == CFArrayGetTypeID()) {
        array result;
        const auto elements = static_cast<CFArrayRef>(object);
        CFArrayApplyFunction(
            elements, CFRange{0, CFArrayGetCount(elements)},
            [](const void* element, void* context) {
                static_cast<array*>(context)->push_back(to_value(element));
            },
            &result);
        return result;
    }
    dictionary result;
    CFDictionaryApplyFunction(
        static_cast<CFDictionaryRef>(object),
        [](const void* key, const void* value, void* context) {
            static_cast<dictionary*>(context)->emplace(
                cfstring_to_string(static_cast<CFStringRef>(key)), to_value(value));
        },
        &result);
    return result;
}

} // namespace

const plist_value& plist_value::at(const std::string& key) const {
    return std::get<dictionary>(value).at(key);
}

bool plist_value::has(const std::string& key) const {
    return std::get<dictionary>(value).contains(key);
}

std::ostream& operator<<(std::ostream& stream, const plist_value& value) {
    return stream << to_xml(value);
}

std::string to_xml(const plist_value& value) {
    const cf_handle<CFDataRef> document(
        CFPropertyListCreateData(kCFAllocatorDefault, make_object(value).get(),
                                 kCFPropertyListXMLFormat_v1_0, kCFPropertyListImmutable, nullptr));
    return {reinterpret_cast<const char*>(CFDataGetBytePtr(document.get())),
            static_cast<std::size_t>(CFDataGetLength(document.get()))};
}

plist_value from_xml(const std::string& document) {
    const cf_handle<CFDataRef> bytes(
        CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const std::uint8_t*>(document.data()),
                     static_cast<CFIndex>(document.size())));
    const cf_handle<CFPropertyListRef> value(CFPropertyListCreateWithData(
        kCFAllocatorDefault, bytes.get(), kCFPropertyListImmutable, nullptr, nullptr));
    if (!value) {
        throw std::runtime_error("no property list: " + document);
    }
    return to_value(value.get());
}

std::vector<std::string> split_documents(const std::string& stream, const std::string& separator) {
    constexpr std::string_view first_line = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    constexpr std::string_view last_line = "</plist>\n";
    std::vector<std::string> documents;
    std::string_view rest = stream;
    while (!rest.empty()) {
        const std::size_t end = rest.find(last_line);
        if (!rest.starts_with(first_line) || end == std::string_view::npos ||
            !rest.substr(end + last_line.size()).starts_with(separator)) {
            throw std::runtime_error("no record here: " + std::string(rest));
        }
        const std::size_t length = end + last_line.size();
        documents.emplace_back(rest.substr(0, length));
        rest.remove_prefix(length + separator.size());
    }
    return documents;
}

} // namespace vandrel::testing
