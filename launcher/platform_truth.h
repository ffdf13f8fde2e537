#pragma once

/// Compares the linked CoreFoundation with the results that Apple's is expected to give.

#include <cstddef>
#include <string>
#include <vector>

namespace vandrel {

struct truth_result {
    /// How many documents and other facts were checked.
    std::size_t checked = 0;
    /// A text for each one that differs from the expected result. It can have several lines.
    std::vector<std::string> differences;
};

/// Checks the reading and writing of each document that results.txt in `folder` lists. Such a
/// folder is written by simulator/core_foundation/truth/make_truth.py. Throws std::runtime_error if
/// the list is missing or empty, or if a document cannot be read.
truth_result check_documents(const std::string& folder);

/// Checks strings, numbers, errors and the writing of property lists.
truth_result check_values();

} // namespace vandrel
