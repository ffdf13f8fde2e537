#pragma once

#include <boost/system/error_code.hpp>

#include <cstdint>
#include <string>
#include <system_error>

namespace vandrel {

/// Error codes of Windows and Winsock, the numbers of GetLastError. Any thread.
class win32_error_category final : public std::error_category {
public:
    /// The one object of this category.
    static const win32_error_category& instance();

    /// "Win32 Error".
    const char* name() const noexcept override;
    /// The system's text. When it has none, the message_without_text of the code.
    std::string message(int code) const override;
    /// The portable condition that a code stands for; a code without one stays itself.
    std::error_condition default_error_condition(int code) const noexcept override;

private:
    win32_error_category() = default;
};

/// The message of a code that the system has no text for. `error` is the last-error number that
/// says why there is none. It is shown, and its own text, if any.
std::string message_without_text(std::int32_t code, std::uint32_t error);

/// The calling thread's last-error number. To be taken right after the call that failed, before any
/// other call can change it. The result wraps a std::error_code of win32_error_category. Its own
/// value() is not the number: convert it to std::error_code first.
boost::system::error_code last_win32_error();

} // namespace vandrel
