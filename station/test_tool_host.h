#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vandrel {

/// The value as UTF-8; empty when there is no such variable.
std::string environment_variable(const std::string& name);

/// What this process has open. On POSIX each descriptor of a file outside /proc, as "NUMBER FILE";
/// on Windows only the pipes with numbers below 4096, as "pipe NUMBER".
std::vector<std::string> open_handles();

/// Adds the line and a line feed to the file. Several processes may do so at the same time.
void append_line(const std::filesystem::path& file, const std::string& line);

} // namespace vandrel
