#include "foundation/hresult_error_category.h"

#include "platform/native_error.h"

#include <fmt/format.h>

namespace vandrel {

namespace {

std::string number_text(std::uint32_t result) {
    // Errors that an interface defines for itself are numbered from here.
    constexpr std::uint32_t first_own = 0x80040200;
    constexpr std::uint32_t last_own = 0x8004FFFF;
    if (result > first_own && result <= last_own) {
        return fmt::format("IDispatch error #{}", result - first_own);
    }
    return fmt::format("Unknown error 0x{:X}", result);
}

} // namespace

const hresult_error_category& hresult_error_category::instance() {
    static const auto& category = *new hresult_error_category;
    return category;
}

const char* hresult_error_category::name() const noexcept {
    return "HRESULT Error";
}

std::string hresult_error_category::message(int result) const {
    return com_message(native_error_text_in_local_encoding(result),
                       static_cast<std::uint32_t>(result));
}

std::string com_message(std::string system_text, std::uint32_t result) {
    if (system_text.empty()) {
        return number_text(result);
    }
    if (system_text.size() > 1 && system_text.back() == '\n') {
        system_text.pop_back();
        if (system_text.back() == '\r') {
            system_text.pop_back();
        }
    }
    return system_text;
}

} // namespace vandrel
