#pragma once

#include <cstdint>
#include <string>

namespace vandrel::testing {

/// The system's text for a Windows error code, without the line break at its end: on Windows from
/// the system, on POSIX from a list. Fails the test if a code is not in the list.
std::string system_message(std::uint32_t code);

} // namespace vandrel::testing
