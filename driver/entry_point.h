#pragma once

namespace vandrel {

/// The whole program: what the library's exported `main` does. `arguments` are UTF-8, the program's
/// name first. Returns the exit status when the command line cannot be parsed. Otherwise it never
/// returns: the process ends with the exit status when the command is done and every record is
/// written. Called once in a process.
int entry_point(int argument_count, const char* const* arguments);

} // namespace vandrel
