#pragma once

/// What Apple's CoreFoundation does, as data, and what compares the CoreFoundation at hand with it.

#include <cstddef>
#include <string>
#include <vector>

namespace vandrel {

struct truth_result {
    /// How many documents and other facts were looked at.
    std::size_t looked_at = 0;
    /// One line for each that is not as it should be.
    std::vector<std::string> differences;
};

/// Reads each document of a folder that simulator/core_foundation/truth/make_truth.py has written.
/// Throws std::runtime_error when the folder cannot be read.
truth_result check_documents(const std::string& folder);

/// Looks at what strings, numbers and errors do.
truth_result check_values();

} // namespace vandrel
