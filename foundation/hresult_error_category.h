#pragma once

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
    /// The system's text, in the system's 8-bit encoding and without the line break at its end, or
    /// the number where it has none. What COM's own error class says.
    std::string message(int result) const override;

private:
    hresult_error_category() = default;
};

} // namespace vandrel
