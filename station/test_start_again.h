#pragma once

#include <string>
#include <vector>

namespace vandrel {

/// Starts this program a second time. `arguments` are all that the new process gets: this one's
/// own first, then the additional ones. The new process inherits what this one has inherited, also
/// the pipe. Nobody waits for it.
void start_again(const std::vector<std::string>& arguments);

} // namespace vandrel
