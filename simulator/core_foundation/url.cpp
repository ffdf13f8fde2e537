#include "simulator/core_foundation/object.h"
#include "simulator/core_foundation/string.h"

#include <algorithm>
#include <string>

namespace {

bool is_hexadecimal(char c) {
    return std::string_view("0123456789abcdefABCDEF").find(c) != std::string_view::npos;
}

/// Whether `text` has only characters that RFC 3986 allows in a URI reference, and at most one
/// fragment.
bool is_url(std::string_view text) {
    constexpr std::string_view allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                         "0123456789-._~:/?#[]@!$&'()*+,;=";
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool is_escape = text[i] == '%' && i + 2 < text.size() &&
                               is_hexadecimal(text[i + 1]) && is_hexadecimal(text[i + 2]);
        if (!is_escape && allowed.find(text[i]) == std::string_view::npos) {
            return false;
        }
    }
    return std::ranges::count(text, '#') <= 1;
}

} // namespace

struct __CFURL final : simulator::object {
    __CFURL(CFStringRef url_text, CFURLRef url_base)
        : object(static_type()),
          text(simulator::retained(url_text)),
          base(simulator::retained(url_base)) {}
    static const simulator::runtime_type& static_type() {
        static const auto& type = *new simulator::runtime_type("CFURL");
        return type;
    }

    bool equals(const object& other) const override {
        const auto& url = static_cast<const __CFURL&>(other);
        const bool same_base = base == nullptr || url.base == nullptr
                                   ? base == url.base
                                   : CFEqual(base.get(), url.base.get()) != 0;
        return same_base && text->equals(*url.text);
    }
    CFHashCode hash() const override { return text->hash(); }
    std::string describe() const override {
        return base == nullptr ? text->utf8 : text->utf8 + " -- " + base->describe_inside();
    }

    const simulator::owned<const __CFString> text;
    const simulator::owned<const __CFURL> base;
};

CFURLRef CFURLCreateWithString(CFAllocatorRef, CFStringRef text, CFURLRef base) {
    const __CFString& string = simulator::checked(text);
    return is_url(string.utf8) ? simulator::create<__CFURL>(&string, base) : nullptr;
}
