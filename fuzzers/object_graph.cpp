#include "fuzzers/object_graph.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <utility>

namespace vandrel::fuzzing {

namespace {

/// Deeper than property lists may be, but not so deep that the stack overflows.
constexpr int deepest = 600;

cf_handle<CFTypeRef> adopt(CFTypeRef object) {
    return cf_handle<CFTypeRef>(object);
}

cf_handle<CFMutableArrayRef> make_array() {
    return cf_handle<CFMutableArrayRef>(
        CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
}

cf_handle<CFMutableDictionaryRef> make_dictionary() {
    return cf_handle<CFMutableDictionaryRef>(CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

cf_handle<CFNumberRef> make_integer(std::int64_t number) {
    return cf_handle<CFNumberRef>(
        CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &number));
}

cf_handle<CFNumberRef> make_real(double number) {
    return cf_handle<CFNumberRef>(
        CFNumberCreate(kCFAllocatorDefault, kCFNumberFloat64Type, &number));
}

/// Null when it is not UTF-8.
cf_handle<CFStringRef> make_string(std::string_view text) {
    return cf_handle<CFStringRef>(CFStringCreateWithBytes(
        kCFAllocatorDefault, reinterpret_cast<const std::uint8_t*>(text.data()),
        static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
}

/// 0 when it is none.
template<class Number>
Number number_of(std::string_view text) {
    Number result{};
    std::from_chars(text.data(), text.data() + text.size(), result);
    return result;
}

/// A value that every property list can hold.
described_value scalar(cf_handle<CFTypeRef> value) {
    auto compatible = adopt(CFRetain(value.get()));
    return {std::move(value), std::move(compatible)};
}

/// A value that no property list can hold.
described_value incompatible(cf_handle<CFTypeRef> value) {
    return {std::move(value), nullptr, false, false, false};
}

class graph_reader {
public:
    explicit graph_reader(std::string_view text) : rest_(text) {}

    /// `depth`: the number of containers around it.
    std::optional<described_value> next(int depth) {
        while (!rest_.empty()) {
            const char first = rest_.front();
            if (first == '-' || (first >= '0' && first <= '9')) {
                return scalar(adopt(read_number().release()));
            }
            rest_.remove_prefix(1);
            switch (first) {
            case '[':
            case '{':
            case '(':
                if (depth < deepest) {
                    return read_container(first, depth + 1);
                }
                break;
            case ']':
            case '}':
            case ')':
                return std::nullopt;
            case '\'':
                return scalar(adopt(read_string().release()));
            case 't':
            case 'f':
                return scalar(adopt(CFRetain(first == 't' ? kCFBooleanTrue : kCFBooleanFalse)));
            case 'n':
                return incompatible(adopt(CFRetain(kCFNull)));
            case 'u':
                return incompatible(
                    adopt(CFURLCreateWithString(kCFAllocatorDefault, CFSTR("a:b"), nullptr)));
            case 'e':
                return read_error();
            case 'b':
                return scalar(adopt(read_data().release()));
            case 'd':
                return scalar(adopt(
                    CFDateCreate(kCFAllocatorDefault, number_of<double>(take_number_text()))));
            case 'i':
                return scalar(adopt(make_real(std::numeric_limits<double>::infinity()).release()));
            default:
                break;
            }
        }
        return std::nullopt;
    }

private:
    /// The text up to the closing quote, or to the end.
    std::string_view take_quoted() {
        const std::size_t length = std::min(rest_.find('\''), rest_.size());
        const std::string_view result = rest_.substr(0, length);
        rest_.remove_prefix(std::min(length + 1, rest_.size()));
        return result;
    }

    bool take_quote() {
        const bool is_there = rest_.starts_with('\'');
        rest_.remove_prefix(is_there ? 1 : 0);
        return is_there;
    }

    std::string_view take_number_text() {
        const std::size_t length = std::min(rest_.find_first_not_of("-.0123456789"), rest_.size());
        const std::string_view result = rest_.substr(0, length);
        rest_.remove_prefix(length);
        return result;
    }

    cf_handle<CFNumberRef> read_number() {
        const std::string_view text = take_number_text();
        return text.find('.') == text.npos ? make_integer(number_of<std::int64_t>(text))
                                           : make_real(number_of<double>(text));
    }

    cf_handle<CFStringRef> read_string() {
        auto string = make_string(take_quoted());
        return string ? std::move(string) : make_string("not UTF-8");
    }

    cf_handle<CFDataRef> read_data() {
        const std::string_view bytes = take_quote() ? take_quoted() : "";
        return cf_handle<CFDataRef>(
            CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const std::uint8_t*>(bytes.data()),
                         static_cast<CFIndex>(bytes.size())));
    }

    described_value read_error() {
        const auto details = make_dictionary();
        auto compatible = make_dictionary();
        CFDictionarySetValue(compatible.get(), CFSTR("Domain"), CFSTR("fuzzer"));
        CFDictionarySetValue(compatible.get(), CFSTR("Code"), make_integer(-5).get());
        if (take_quote()) {
            const auto reason = read_string();
            CFDictionarySetValue(details.get(), kCFErrorLocalizedFailureReasonKey, reason.get());
            CFDictionarySetValue(compatible.get(), CFSTR("FailureReason"), reason.get());
        }
        // A copy has a dictionary instead, so nothing is dropped; but the error itself is not
        // valid.
        return {adopt(CFErrorCreate(kCFAllocatorDefault, CFSTR("fuzzer"), -5, details.get())),
                adopt(compatible.release()), true, false, false};
    }

    described_value read_container(char opening, int depth) {
        switch (opening) {
        case '[':
            return read_array(depth);
        case '{':
            return read_dictionary(depth);
        default:
            return read_set(depth);
        }
    }

    static void add_part(described_value& whole, const described_value& part) {
        whole.is_compatible = whole.is_compatible && part.is_compatible;
        whole.is_valid_in_xml = whole.is_valid_in_xml && part.is_valid_in_xml;
        whole.is_valid_in_binary = whole.is_valid_in_binary && part.is_valid_in_binary;
    }

    described_value read_array(int depth) {
        auto array = make_array();
        auto compatible = make_array();
        described_value result;
        while (const auto element = next(depth)) {
            CFArrayAppendValue(array.get(), element->value.get());
            if (element->compatible) {
                CFArrayAppendValue(compatible.get(), element->compatible.get());
            }
            add_part(result, *element);
        }
        result.value = adopt(array.release());
        result.compatible = adopt(compatible.release());
        return result;
    }

    described_value read_dictionary(int depth) {
        auto dictionary = make_dictionary();
        auto compatible = make_dictionary();
        described_value result;
        while (const auto key = next(depth)) {
            const auto value = next(depth);
            if (!value) {
                break;
            }
            // Of two equal keys, only the first is used; the expectation would otherwise include a
            // value that the second has replaced.
            if (CFDictionaryGetValue(dictionary.get(), key->value.get()) != nullptr) {
                continue;
            }
            CFDictionarySetValue(dictionary.get(), key->value.get(), value->value.get());
            add_part(result, *value);
            if (CFGetTypeID(key->value.get()) != CFStringGetTypeID()) {
                result.is_compatible = result.is_valid_in_xml = result.is_valid_in_binary = false;
            } else if (value->compatible) {
                CFDictionarySetValue(compatible.get(), key->value.get(), value->compatible.get());
            }
        }
        result.value = adopt(dictionary.release());
        result.compatible = adopt(compatible.release());
        return result;
    }

    described_value read_set(int depth) {
        cf_handle<CFMutableSetRef> set(
            CFSetCreateMutable(kCFAllocatorDefault, 0, &kCFTypeSetCallBacks));
        described_value result;
        while (const auto member = next(depth)) {
            CFSetAddValue(set.get(), member->value.get());
            add_part(result, *member);
        }
        result.value = adopt(set.release());
        result.is_compatible = result.is_valid_in_xml = false;
        return result;
    }

    std::string_view rest_;
};

} // namespace

std::optional<described_value> make_described_value(std::string_view text) {
    return graph_reader(text).next(0);
}

} // namespace vandrel::fuzzing
