#pragma once

#include <cstddef>

#include <windows.h>

namespace vandrel {

/// How many handles the process has; 0 if it does not exist any more. Of numbers above 8192, none
/// is counted. (Under Wine, GetProcessHandleCount always gives 0, and the system's list of handles
/// can crash Wine's server while processes end.)
std::size_t count_handles(HANDLE process);

} // namespace vandrel
