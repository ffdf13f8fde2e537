#include "foundation/hresult_error_category.h"

#include "foundation/system_text.h"
#include "platform/native_error.h"

#include <fmt/format.h>

#include <cstdint>
#include <utility>

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
    std::string text = native_error_text_in_local_encoding(result);
    return text.empty() ? number_text(static_cast<std::uint32_t>(result))
                        : without_line_break(std::move(text));
}

} // namespace vandrel
