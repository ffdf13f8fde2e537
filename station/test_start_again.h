#pragma once

#include <string>
#include <vector>

namespace vandrel {

/// Starts this program a second time, with more arguments than it has: `arguments` are all of them.
/// The new process inherits what this one has inherited, the pipe with it, and is not waited for.
void start_again(const std::vector<std::string>& arguments);

} // namespace vandrel
