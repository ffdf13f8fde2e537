#pragma once

/// Builds values of any type of object from a text:
///
///     {'Status''Restoring' 'Operation'9 'Extra'[t f n u (1 2) e'reason' b'bytes' d86400]}
///
/// Strings are in single quotes, numbers have digits, "-" and ".". [] is an array, {} a dictionary
/// of alternating keys and values, () a set; t and f are booleans, n is null, u a URL. e is
/// an error and b is data; a string may follow either. d is a date; a number may follow it. i is an
/// infinite number. All other characters, such as spaces, are ignored, and so is an opening
/// bracket inside 600 containers. Any closing bracket closes the innermost container; the end of
/// the text closes everything. Of equal keys of a dictionary, the first counts.

#include "foundation/cf_handle.h"

#include <optional>
#include <string_view>

namespace vandrel::fuzzing {

/// A value with the expected results. They are computed while the value is built, from its parts,
/// and never with the functions under test.
struct described_value {
    cf_handle<CFTypeRef> value;
    /// The copy without the parts that a property list cannot hold, with dictionaries in place of
    /// errors; null if a property list cannot hold the value itself.
    cf_handle<CFTypeRef> compatible;
    /// Whether nothing is dropped.
    bool is_compatible = true;
    bool is_valid_in_xml = true;
    bool is_valid_in_binary = true;
};

/// The first value in `text`, or none.
std::optional<described_value> make_described_value(std::string_view text);

} // namespace vandrel::fuzzing
