#pragma once

#include <filesystem>
#include <memory>

namespace simulator {

/// An exclusive lock on a file, among processes. It is released with this object, and when the
/// process ends or is killed.
class file_lock {
public:
    /// Waits for the lock. Creates the file if it does not exist. Throws std::system_error if the
    /// file cannot be opened or locked.
    static file_lock wait_for(const std::filesystem::path& path);
    /// Empty when another process, or another object in this process, has the lock. Throws as
    /// wait_for does.
    static file_lock try_take(const std::filesystem::path& path);

    explicit operator bool() const { return file_ != nullptr; }

private:
    struct open_file;
    struct closer {
        void operator()(open_file* file) const;
    };

    static file_lock take(const std::filesystem::path& path, bool waits);

    std::unique_ptr<open_file, closer> file_;
};

} // namespace simulator
