#pragma once

namespace vandrel::station {

/// The program. `arguments` are UTF-8, the program's own name first. Returns the exit status.
int launch(int argument_count, const char* const* arguments);

} // namespace vandrel::station
