#pragma once

/// The expected results of writing a value as an XML property list and reading it again.

#include "foundation/cf_handle.h"
#include "fuzzers/fuzzing.h"

namespace vandrel::fuzzing {

/// Whether each step succeeds. XML cannot represent everything that a property list can hold.
struct xml_outcome {
    /// False: a date outside the years 0 to 9999, more than 512 nested containers, or an object of
    /// a type that property lists do not have.
    bool is_written = true;
    /// False: a string with a character that XML does not allow, such as a control character.
    bool is_read = true;
    /// False: a carriage return, which XML reads as a line feed; a fraction of a second; a
    /// not-a-number, which is not equal to itself.
    bool is_equal = true;
};

/// Computes the expected results for `value`.
xml_outcome outcome_in_xml(CFTypeRef value);

/// Reads a property list; null on failure.
cf_handle<CFPropertyListRef> read_property_list(input bytes);

/// Requires that `document` is the XML form of `value`, which has one.
void require_document(input document, CFTypeRef value);

/// Writes `value`, reads it again, and requires the expected results.
void require_outcome_in_xml(CFTypeRef value);

} // namespace vandrel::fuzzing
