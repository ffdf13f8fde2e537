#pragma once

#include "fuzzers/fuzzing.h"

#include <string>

namespace vandrel::fuzzing {

/// A file in memory that has a path, for functions that take one.
class memory_file {
public:
    memory_file();
    ~memory_file();
    memory_file(const memory_file&) = delete;
    memory_file& operator=(const memory_file&) = delete;

    const std::string& path() const { return path_; }
    /// Replaces the content.
    void fill(input bytes) const;

private:
    int descriptor_;
    std::string path_;
};

} // namespace vandrel::fuzzing
