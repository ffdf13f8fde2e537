#pragma once

#include <cstdint>
#include <string>
#include <system_error>

namespace vandrel {

/// Results of COM calls, as signed numbers. Any thread.
class hresult_error_category final : public std::error_category {
public:
    /// The one object of this category.
    static const hresult_error_category& instance();

    /// "HRESULT Error".
    const char* name() const noexcept override;
    /// The com_message of the system's text, which is in the system's own 8-bit encoding.
    std::string message(int result) const override;

private:
    hresult_error_category() = default;
};

/// What COM's error class gives for `result`: `system_text` without its final "\r\n" or "\n" (a
/// text that is a single line feed stays), or, if `system_text` is empty, a text with the number.
std::string com_message(std::string system_text, std::uint32_t result);

} // namespace vandrel
