#pragma once

namespace vandrel {

/// What main calls; each program defines its own. `arguments` are UTF-8, the program's name first.
/// Returns the exit status, unless another thread ends the process first.
int launch(int argument_count, const char* const* arguments);

} // namespace vandrel
