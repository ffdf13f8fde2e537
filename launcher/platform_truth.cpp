#include "launcher/platform_truth.h"

#include "foundation/cf_handle.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace vandrel {

namespace {

std::filesystem::path path_of(const std::string& utf8) {
    return std::u8string(utf8.begin(), utf8.end());
}

std::optional<std::string> content_of_file(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    return std::string(std::istreambuf_iterator<char>(file), {});
}

const std::uint8_t* bytes_of(const std::string& text) {
    return reinterpret_cast<const std::uint8_t*>(text.data());
}

cf_handle<CFPropertyListRef> read(const std::string& document) {
    const cf_handle<CFDataRef> data(
        CFDataCreateWithBytesNoCopy(kCFAllocatorDefault, bytes_of(document),
                                    static_cast<CFIndex>(document.size()), kCFAllocatorNull));
    return cf_handle<CFPropertyListRef>(CFPropertyListCreateWithData(
        kCFAllocatorDefault, data.get(), kCFPropertyListImmutable, nullptr, nullptr));
}

std::optional<std::string> written(CFPropertyListRef value) {
    const cf_handle<CFDataRef> data(CFPropertyListCreateData(
        kCFAllocatorDefault, value, kCFPropertyListXMLFormat_v1_0, 0, nullptr));
    if (!data) {
        return std::nullopt;
    }
    return std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(data.get())),
                       static_cast<std::size_t>(CFDataGetLength(data.get())));
}

/// What is wrong with one document; empty for nothing.
std::string difference(const std::filesystem::path& folder, const std::string& name,
                       std::string_view expected) {
    const auto document = content_of_file(folder / "documents" / name);
    if (!document) {
        throw std::runtime_error("the document " + name + " cannot be read");
    }
    const auto value = read(*document);
    if ((value == nullptr) != (expected == "refused")) {
        return value ? "accepted, and should be refused" : "refused, and should be accepted";
    }
    if (!value) {
        return {};
    }
    const auto actual = written(value.get());
    if (actual.has_value() != (expected == "accepted")) {
        return actual ? "has an XML form, and should have none"
                      : "has no XML form, and should have one";
    }
    const auto content = content_of_file(folder / "contents" / (name + ".xml"));
    return content && content != actual ? "has another content: " + *actual : "";
}

class value_checks {
public:
    void check(bool holds, const std::string& what) {
        ++result.checked;
        if (!holds) {
            result.differences.push_back(what);
        }
    }

    truth_result result;
};

cf_handle<CFStringRef> string_of(const std::string& text) {
    return cf_handle<CFStringRef>(CFStringCreateWithBytes(kCFAllocatorDefault, bytes_of(text),
                                                          static_cast<CFIndex>(text.size()),
                                                          kCFStringEncodingUTF8, false));
}

cf_handle<CFNumberRef> real_of(double value) {
    return cf_handle<CFNumberRef>(
        CFNumberCreate(kCFAllocatorDefault, kCFNumberFloat64Type, &value));
}

cf_handle<CFMutableDictionaryRef> dictionary_of(CFTypeRef key, CFTypeRef value) {
    cf_handle<CFMutableDictionaryRef> result(CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    CFDictionarySetValue(result.get(), key, value);
    return result;
}

std::string text_of(CFStringRef string) {
    std::array<char, 512> buffer{};
    const bool is_there =
        string != nullptr &&
        CFStringGetCString(string, buffer.data(), static_cast<CFIndex>(buffer.size()),
                           kCFStringEncodingUTF8) != 0;
    return is_there ? buffer.data() : "(none)";
}

/// A number of a document as an integer of `type`: whether it fits, and what is stored.
struct reading {
    const char* number;
    CFNumberType type;
    bool fits;
    std::int64_t stored;
};

template<class Integer>
bool reads_as(CFNumberRef number, const reading& expected) {
    Integer stored = 0;
    const bool fits = CFNumberGetValue(number, expected.type, &stored) != 0;
    return fits == expected.fits && stored == static_cast<Integer>(expected.stored);
}

bool is_read(const reading& expected) {
    const auto value =
        read("<plist><integer>" + std::string(expected.number) + "</integer></plist>");
    const auto* const number = static_cast<CFNumberRef>(value.get());
    switch (expected.type) {
    case kCFNumberSInt16Type:
        return number != nullptr && reads_as<std::int16_t>(number, expected);
    case kCFNumberSInt32Type:
        return number != nullptr && reads_as<std::int32_t>(number, expected);
    default:
        return number != nullptr && reads_as<std::int64_t>(number, expected);
    }
}

void check_numbers(value_checks& checks) {
    constexpr std::int64_t least = INT64_MIN;
    constexpr std::array<reading, 18> readings{{
        {"32767", kCFNumberSInt16Type, true, 32767},
        {"32768", kCFNumberSInt16Type, true, -32768},
        {"65535", kCFNumberSInt16Type, true, -1},
        {"65536", kCFNumberSInt16Type, false, 0},
        {"-32768", kCFNumberSInt16Type, true, -32768},
        {"-32769", kCFNumberSInt16Type, false, 32767},
        {"2147483647", kCFNumberSInt32Type, true, 2147483647},
        {"2147483648", kCFNumberSInt32Type, true, -2147483648},
        {"4294967295", kCFNumberSInt32Type, true, -1},
        {"4294967296", kCFNumberSInt32Type, false, 0},
        {"4294967297", kCFNumberSInt32Type, false, 1},
        {"-2147483648", kCFNumberSInt32Type, true, -2147483648},
        {"-2147483649", kCFNumberSInt32Type, false, 2147483647},
        {"9223372036854775807", kCFNumberSInt64Type, true, INT64_MAX},
        {"9223372036854775808", kCFNumberSInt64Type, true, least},
        {"18446744073709551615", kCFNumberSInt64Type, true, -1},
        {"-9223372036854775808", kCFNumberSInt64Type, true, least},
        {"-1", kCFNumberSInt16Type, true, -1},
    }};
    for (const reading& expected : readings) {
        checks.check(is_read(expected), "the number " + std::string(expected.number) +
                                            " as a number of type " +
                                            std::to_string(expected.type));
    }
    // CFEqual is what finds a key.
    const auto finds = [](double key, double wanted) {
        const auto dictionary = dictionary_of(real_of(key).get(), kCFBooleanTrue);
        return CFDictionaryGetValue(dictionary.get(), real_of(wanted).get()) != nullptr;
    };
    checks.check(finds(std::nan(""), std::nan("")), "nan equals nan");
    checks.check(!finds(0.0, -0.0), "0.0 does not equal -0.0");
    checks.check(finds(-0.0, -0.0), "-0.0 equals -0.0");
}

void check_strings(value_checks& checks) {
    const std::string mark = "\xEF\xBB\xBF";
    checks.check(CFStringGetLength(string_of(mark + "ab").get()) == 2,
                 "a byte order mark is taken off bytes");
    checks.check(CFStringGetLength(string_of("a" + mark).get()) == 2,
                 "a byte order mark stays inside");
    const cf_handle<CFStringRef> text(CFStringCreateWithCString(
        kCFAllocatorDefault, (mark + "ab").c_str(), kCFStringEncodingUTF8));
    checks.check(CFStringGetLength(text.get()) == 2, "a byte order mark is taken off a C string");
    checks.check(CFStringGetMaximumSizeForEncoding(INT64_MAX, kCFStringEncodingUTF8) == -1,
                 "a size that overflows is -1");
    const cf_handle<CFStringRef> description(CFCopyDescription(string_of("x").get()));
    const std::string described = text_of(description.get());
    checks.check(described.starts_with("<CFString 0x") &&
                     described.ends_with(">{contents = \"x\"}"),
                 "the description of a string: " + described);
}

void check_errors(value_checks& checks) {
    const cf_handle<CFErrorRef> missing(
        CFErrorCreate(kCFAllocatorDefault, CFSTR("NSPOSIXErrorDomain"), 2, nullptr));
    const cf_handle<CFStringRef> reason(CFErrorCopyFailureReason(missing.get()));
    checks.check(text_of(reason.get()) == "No such file or directory",
                 "the reason of POSIX error 2: " + text_of(reason.get()));
    const auto number = real_of(5);
    const auto details = dictionary_of(kCFErrorLocalizedDescriptionKey, number.get());
    const cf_handle<CFErrorRef> numbered(
        CFErrorCreate(kCFAllocatorDefault, CFSTR("vandrel"), 1, details.get()));
    const cf_handle<CFStringRef> description(CFErrorCopyDescription(numbered.get()));
    checks.check(description && CFGetTypeID(description.get()) == CFNumberGetTypeID(),
                 "a description that is a number comes back as it is");
}

void check_writing(value_checks& checks) {
    CFErrorRef error_out = nullptr;
    const auto dictionary = dictionary_of(real_of(1).get(), kCFBooleanTrue);
    const cf_handle<CFDataRef> document(CFPropertyListCreateData(
        kCFAllocatorDefault, dictionary.get(), kCFPropertyListXMLFormat_v1_0, 0, &error_out));
    const cf_handle<CFErrorRef> error(error_out);
    checks.check(!document && error && CFErrorGetCode(error.get()) == 3851,
                 "a value without an XML form is error 3851");
    cf_handle<CFTypeRef> nested(CFRetain(kCFBooleanTrue));
    for (int depth = 0; depth < 2'000; ++depth) {
        cf_handle<CFMutableArrayRef> array(
            CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
        CFArrayAppendValue(array.get(), nested.get());
        nested = std::move(array);
    }
    checks.check(written(nested.get()).has_value(), "2,000 arrays inside each other are written");
}

} // namespace

truth_result check_documents(const std::string& folder) {
    const std::filesystem::path root = path_of(folder);
    std::ifstream list(root / "results.txt");
    truth_result result;
    std::string name;
    std::string expected;
    while (list >> name >> expected) {
        ++result.checked;
        const std::string found = difference(root, name, expected);
        if (!found.empty()) {
            result.differences.push_back(name);
            result.differences.back().append(": ").append(found);
        }
    }
    if (result.checked == 0) {
        throw std::runtime_error("there is no results.txt in " + folder);
    }
    return result;
}

truth_result check_values() {
    value_checks checks;
    check_numbers(checks);
    check_strings(checks);
    check_errors(checks);
    check_writing(checks);
    return checks.result;
}

} // namespace vandrel
