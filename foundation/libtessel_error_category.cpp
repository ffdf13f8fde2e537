#include "foundation/libtessel_error_category.h"

namespace vandrel {

const libtessel_error_category& libtessel_error_category::instance() {
    static const auto& category = *new libtessel_error_category;
    return category;
}

const char* libtessel_error_category::name() const noexcept {
    return "libtessel";
}

std::string libtessel_error_category::message(int code) const {
    switch (code) {
    case 0:
        return "success";
    case 1:
        return "USB communication failed";
    case 2:
        return "Device entered invalid state";
    case 3:
        return "Not a USB device";
    default:
        return "unknown error";
    }
}

} // namespace vandrel
