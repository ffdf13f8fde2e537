#pragma once

#include <filesystem>
#include <string>

namespace vandrel {

/// A path as the host's functions take it.
using native_path = std::filesystem::path::string_type;

/// Where Windows looks for the libraries that a library needs. It never looks in the current folder
/// or PATH, nor in the folder of the program as such. Other hosts have rules of their own.
enum class needed_libraries {
    /// In Windows' own folder.
    of_the_system,
    /// In the library's folder, then in those added with AddDllDirectory, then in Windows' own.
    of_its_folders,
};

/// Loads the library at this absolute path, for as long as the process runs. If that fails, returns
/// null, and `failure` is the reason: words for a sentence, without a full stop.
void* load_native_library(const native_path& path, needed_libraries needed, std::string& failure);

/// The address of the library's function or variable; null if it has none of that name. On POSIX,
/// the libraries that it needs are searched too.
void* find_native_symbol(void* library, const char* name);

} // namespace vandrel
