#include "foundation/cf_text.h"
#include "foundation/plist_values.h"
#include "output/diagnostic_names.h"
#include "output/output_str_state.h"

#include <fmt/format.h>

namespace vandrel {

void output_str_state::print_value(CFStringRef type, CFTypeRef value) {
    constexpr auto signature = diagnostic_names::print_value.signature;
    if (type == nullptr || CFStringGetLength(type) == 0 || value == nullptr) {
        push_debug(fmt::format("{}: invalid argument", signature));
        return;
    }
    if (!is_valid_plist_value(value, kCFPropertyListXMLFormat_v1_0)) {
        push_debug(fmt::format("{}: object not valid for XML plist", signature));
        return;
    }
    const auto record = make_dictionary();
    CFErrorRef error_out = nullptr;
    cf_handle<CFDataRef> data;
    if (record) {
        set_values(record.get(), {{CFSTR("Type"), type}, {CFSTR("Value"), value}});
        data.reset(CFPropertyListCreateData(kCFAllocatorDefault, record.get(),
                                            kCFPropertyListXMLFormat_v1_0, kCFPropertyListImmutable,
                                            &error_out));
    }
    const cf_error_handle error(error_out);
    if (!data) {
        push_debug(fmt::format("{}: CFPropertyListCreateData failed - {}", signature,
                               error ? describe_cftype(error.get()) : "unknown"));
        return;
    }
    const cf_handle<CFStringRef> document(
        CFStringCreateWithBytes(kCFAllocatorDefault, CFDataGetBytePtr(data.get()),
                                CFDataGetLength(data.get()), kCFStringEncodingUTF8, false));
    if (!document || CFStringGetLength(document.get()) == 0) {
        push_debug(fmt::format("{}: CFStringCreateWithBytes failed - unknown", signature));
        return;
    }
    push_output(cfstring_to_string(document.get()));
}

void output_str_state::print_value(const std::string& type, CFTypeRef value) {
    print_value(make_cfstring(type).get(), value);
}

void output_str_state::print_formatted_error(CFErrorRef error) {
    constexpr auto signature = diagnostic_names::print_formatted_error.signature;
    const auto dictionary = cferror_to_dictionary(error);
    if (!dictionary) {
        push_debug(
            fmt::format("{}: {}", signature,
                        error == nullptr ? "invalid argument" : "could not create error dict"));
        return;
    }
    print_value(CFSTR("InternalError"), dictionary.get());
}

} // namespace vandrel
