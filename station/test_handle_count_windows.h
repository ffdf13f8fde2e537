#pragma once

#include <cstddef>

namespace vandrel {

/// How many handles the process with this number has. 0 if there is no such process, or if the
/// system does not say. (GetProcessHandleCount always gives 0 under Wine.)
std::size_t count_handles(unsigned long process);

} // namespace vandrel
