#pragma once

#include <boost/filesystem/path.hpp>

#include <cstdint>

namespace vandrel::testing {

/// A descriptor or handle that programs can inherit, and that is no writing end of a pipe.
class foreign_handle {
public:
    /// Of a new file, opened for the kind of writing that a pipe gets.
    static foreign_handle of_file(const boost::filesystem::path& path);
    /// Of something that nothing can be written to.
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
