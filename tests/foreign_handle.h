#pragma once

#include <boost/filesystem/path.hpp>

#include <cstdint>

namespace vandrel::testing {

/// A descriptor, or on Windows an inheritable handle, that is not the write end of a pipe.
class foreign_handle {
public:
    /// A new file, opened with the same mode of writing as a pipe.
    static foreign_handle of_file(const boost::filesystem::path& path);
    /// An object that cannot be written.
    static foreign_handle of_another_kind();

    ~foreign_handle();
    foreign_handle(const foreign_handle&) = delete;
    foreign_handle& operator=(const foreign_handle&) = delete;

    std::intptr_t number() const { return number_; }

private:
    explicit foreign_handle(std::intptr_t number);

    std::intptr_t number_;
};

} // namespace vandrel::testing
