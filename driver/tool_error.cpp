#include "driver/tool_error.h"

#include "foundation/cf_text.h"
#include "foundation/plist_values.h"

#include <new>

namespace vandrel {

namespace {

CFStringRef description_of(tool_error code) {
    switch (code) {
    case tool_error::no_error:
        return CFSTR("No error");
    case tool_error::unknown_error:
        break;
    case tool_error::invalid_argument:
        return CFSTR("Invalid argument");
    case tool_error::bad_command:
        return CFSTR("Bad command");
    case tool_error::bad_ecid:
        return CFSTR("Bad ECID specified");
    case tool_error::device_bad_state:
        return CFSTR("Device is in bad state");
    case tool_error::recovery_command_failed:
        return CFSTR("Recovery mode command failed");
    case tool_error::restore_timeout:
        return CFSTR("Restore did not complete before timeout expired");
    case tool_error::read_error:
        return CFSTR("Read error");
    }
    return CFSTR("Unknown error");
}

} // namespace

cf_error_handle make_tool_error(tool_error code, const std::string& detail) {
    const auto user_info = make_dictionary();
    if (user_info) {
        set_values(user_info.get(),
                   {{kCFErrorLocalizedDescriptionKey, description_of(code)},
                    {kCFErrorLocalizedFailureReasonKey, make_cfstring(detail).get()}});
    }
    cf_error_handle error(CFErrorCreate(kCFAllocatorDefault, CFSTR("vandrel"),
                                        static_cast<CFIndex>(code), user_info.get()));
    if (!error) {
        throw std::bad_alloc();
    }
    return error;
}

cf_error_handle make_out_of_memory_error() noexcept {
    try {
        return make_tool_error(tool_error::unknown_error, std::bad_alloc().what());
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

int tool_exit_code(CFErrorRef error) {
    if (error == nullptr) {
        return 0;
    }
    const auto code = static_cast<std::uint32_t>(CFErrorGetCode(error));
    return code <= static_cast<std::uint32_t>(tool_error::read_error) ? static_cast<int>(code) : 1;
}

} // namespace vandrel
