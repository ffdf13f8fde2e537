#pragma once

#include <string>

namespace vandrel {

/// Creates a new file at `path`, which is UTF-8, with the command line as its one line, the
/// program's name first. Does nothing without a program name, or if the file exists. Failures are
/// ignored: the log helps to find failures, and is no reason for a run to fail. A file that was
/// created but cannot be written stays, incomplete.
void log_command_line(const std::string& path, int argument_count,
                      const char* const* arguments) noexcept;

} // namespace vandrel
