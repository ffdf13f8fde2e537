#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>

namespace simulator {

/// The file cannot be opened. The text is the reason only.
class unusable_file : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

enum class file_use {
    read,
    /// Removes the content, or creates the file.
    replace,
    /// Writes at the end, or creates the file.
    append,
};

struct file_closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using file_handle = std::unique_ptr<std::FILE, file_closer>;

/// Opens a file on a disk, in binary mode. Folders are refused, and so are devices and pipes, which
/// may never end, or make their reader or writer wait. Programs that are started do not inherit the
/// file. Throws unusable_file.
file_handle open_regular_file(const std::filesystem::path& path, file_use use);

} // namespace simulator
