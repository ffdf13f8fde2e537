#pragma once

namespace vandrel {

/// What the program does; each program has its own. `arguments` are UTF-8, the program's own name
/// first. Returns the process result, unless another thread has ended the process before.
int launch(int argument_count, const char* const* arguments);

} // namespace vandrel
