#pragma once

/// Values of any kind of object, made out of text:
///
///     {'Status''Restoring' 'Operation'9 'Extra'[t f n u (1 2) e'reason' b'bytes' d86400]}
///
/// Strings stand in single quotes; [] is an array, {} a dictionary of keys and values by turns, ()
/// a set; t and f are booleans, n null, u a URL; e is an error, b data, each with a string if
/// there is one; d is a date, with a number if there is one; i is an infinite number. All else,
/// blanks for instance, means nothing; what is not closed ends with the text.

#include "foundation/cf_handle.h"

#include <optional>
#include <string_view>

namespace vandrel::fuzzing {

/// A value, with what is to be expected of it. That is put together along with the value, from what
/// the parts are, and never asked of the functions under test.
struct described_value {
    cf_handle<CFTypeRef> value;
    /// What a copy has that keeps what fits a property list, and drops the rest; null when the
    /// value itself does not.
    cf_handle<CFTypeRef> compatible;
    /// Whether nothing had to be dropped.
    bool is_compatible = true;
    bool is_valid_in_xml = true;
    bool is_valid_in_binary = true;
};

/// The first value in `text`, if there is one.
std::optional<described_value> make_described_value(std::string_view text);

} // namespace vandrel::fuzzing
