#pragma once

#include <string>
#include <vector>

namespace vandrel {

/// Starts this program a second time, with more arguments than it has: `arguments` are all of them,
/// its own first. The new process inherits what this one has inherited, also the pipe. Nobody waits
/// for it.
void start_again(const std::vector<std::string>& arguments);

} // namespace vandrel
