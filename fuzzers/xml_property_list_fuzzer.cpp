/// CFPropertyListCreateWithData on all that is not binary: a value or an error. What is read is
/// written, read again to the same value, and written again to the same bytes, as far as XML can
/// hold it.

#include "fuzzers/fuzzing.h"
#include "fuzzers/xml_outcome.h"
#include "simulator/core_foundation/property_list.h"

namespace vandrel::fuzzing {

void try_input(input bytes) {
    if (simulator::is_binary_property_list(bytes)) {
        return;
    }
    if (const auto value = read_property_list(bytes)) {
        require_outcome_in_xml(value.get());
    }
}

} // namespace vandrel::fuzzing
