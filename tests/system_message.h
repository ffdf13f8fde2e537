#pragma once

#include <cstdint>
#include <string>

namespace vandrel::testing {

/// The system's text for a Windows error code, without the line break and blanks at its end: on
/// Windows from the system, on POSIX from a list. Fails the test if there is no text for the code.
std::string system_message(std::uint32_t code);

} // namespace vandrel::testing
