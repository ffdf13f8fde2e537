#pragma once

#include <boost/system/error_code.hpp>

#include <string>
#include <system_error>

namespace vandrel {

/// Windows error codes, the numbers of GetLastError. Any thread.
class win32_error_category final : public std::error_category {
public:
    /// The one object of this category.
    static const win32_error_category& instance();

    /// "Win32 Error".
    const char* name() const noexcept override;
    /// The system's text, or a text of our own that tells the code when the system has none.
    std::string message(int code) const override;
    /// The portable condition that a code stands for; a code without one stays itself.
    std::error_condition default_error_condition(int code) const noexcept override;

private:
    win32_error_category() = default;
};

/// Why the calling thread's last call of the system failed. To be asked before any other call.
/// Wraps a std::error_code of win32_error_category, which tells the number by itself; the value of
/// the wrapper is not that number.
boost::system::error_code last_win32_error();

} // namespace vandrel
