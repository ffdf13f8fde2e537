#pragma once

/// What becomes of a value that is written as an XML property list and read again.

#include "foundation/cf_handle.h"
#include "fuzzers/fuzzing.h"

namespace vandrel::fuzzing {

/// Whether each step succeeds. XML has no form for everything that a property list can hold.
struct xml_outcome {
    /// False: a date outside the years 0 to 9999, more than 512 containers inside each other, or an
    /// object of another type than property lists have.
    bool is_written = true;
    /// False: a text has a character that XML does not know, a control character for instance.
    bool is_read = true;
    /// False: a carriage return, which XML takes for a line feed; a fraction of a second; a number
    /// that is not one, which equals nothing.
    bool is_equal = true;
};

/// Foresees what becomes of `value`.
xml_outcome outcome_in_xml(CFTypeRef value);

/// Reads a property list; null when it is none.
cf_handle<CFPropertyListRef> read_property_list(input bytes);

/// Requires that `document` is what `value` is in XML. `value` is one that is written.
void require_document(input document, CFTypeRef value);

/// Writes `value` and reads it again, and requires the outcome that is foreseen.
void require_outcome_in_xml(CFTypeRef value);

} // namespace vandrel::fuzzing
