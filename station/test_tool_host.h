#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vandrel {

/// The value as UTF-8; empty when there is no such variable.
std::string environment_variable(const std::string& name);

/// What this process has open. On POSIX each descriptor, as "NUMBER FILE"; on Windows the pipes
/// only, as "pipe NUMBER".
std::vector<std::string> open_handles();

/// Adds the line and a line feed to the file, which several processes may do at the same time.
void append_line(const std::filesystem::path& file, const std::string& line);

} // namespace vandrel
