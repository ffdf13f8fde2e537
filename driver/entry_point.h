#pragma once

namespace vandrel {

/// Runs the tool. The product's exported `main`, or vandrel-sim, calls it, once in a process.
/// `arguments` are UTF-8, the program's name first. Returns the exit status if the command line
/// cannot be parsed. Otherwise it never returns: the process ends with the exit status when the
/// command is done and every record is written.
int entry_point(int argument_count, const char* const* arguments);

} // namespace vandrel
