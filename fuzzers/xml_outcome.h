#pragma once

/// The expected results of writing a value as an XML property list and reading it again.

#include "foundation/cf_handle.h"
#include "fuzzers/fuzzing.h"

namespace vandrel::fuzzing {

/// The content, valid as long as `data`.
input bytes_of(CFDataRef data);

/// Whether each step succeeds. XML cannot represent everything that a property list can hold.
struct xml_outcome {
    /// False: more than 2,048 nested containers, a key that is no string, or an object
    /// of another type than property lists have.
    bool is_written = true;
    /// False: more than 512 nested containers, or a date outside the years 0 to 9999.
    bool is_read = true;
    /// False: a fraction of a second, a zero with a minus sign, a text with an unpaired surrogate,
    /// or a dictionary that reads as a unique id.
    bool is_equal = true;
    /// Whether what is read is written to the same bytes. False: a key with an unpaired surrogate,
    /// which can become the same as another key.
    bool is_same_again = true;
};

/// Computes the expected results for `value`.
xml_outcome outcome_in_xml(CFTypeRef value);

/// The XML document of a value; null if it has none.
cf_handle<CFDataRef> write_property_list(CFTypeRef value);

/// Reads a property list; null on failure.
cf_handle<CFPropertyListRef> read_property_list(input bytes);

/// Requires that `document` is the XML document of `value`, and that what is read from it is
/// written to the same bytes, as far as outcome_in_xml expects that. `value` must have an XML
/// document.
void require_document(input document, CFTypeRef value);

/// Writes `value`, reads it again, and requires the expected results.
void require_outcome_in_xml(CFTypeRef value);

} // namespace vandrel::fuzzing
