#pragma once

#include <string>

namespace vandrel {

/// Makes a new file at `path`, in UTF-8, that holds the command line as one line, the program's
/// name first. A file that exists is left alone, and so is one that cannot be made: the log is a
/// help in finding what went wrong elsewhere, and no reason for a run to fail. Does nothing without
/// a program name.
void log_command_line(const std::string& path, int argument_count,
                      const char* const* arguments) noexcept;

} // namespace vandrel
