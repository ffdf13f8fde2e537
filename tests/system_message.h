#pragma once

#include <cstdint>
#include <string>

namespace vandrel::testing {

/// What this host's system says of a Windows error code, without the line break at its end: on
/// Windows asked of the system itself, elsewhere kept by hand. Fails the test for a code that is
/// not kept.
std::string system_message(std::uint32_t code);

} // namespace vandrel::testing
