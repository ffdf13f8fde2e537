#pragma once

#include <cstdint>
#include <string>

namespace vandrel {

// Why a call of the system failed, as on Windows: a number, which each thread has for its last
// failure, and a text for the number. On a POSIX host, the numbers are those that Windows has for
// the same failures.

/// The number of the calling thread's last failure, 0 before the first. Other calls may change it.
std::uint32_t native_last_error();
void set_native_last_error(std::uint32_t code);

/// The system's text for a number, with the line break at its end, and with placeholders that are
/// not filled in. Empty when the system has none; native_last_error then has the reason.
std::u16string native_error_text(std::int32_t code);

/// The same in the system's own 8-bit encoding.
std::string native_error_text_in_local_encoding(std::int32_t code);

} // namespace vandrel
