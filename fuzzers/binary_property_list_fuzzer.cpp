/// CFPropertyListCreateWithData on binary property lists: a value or an error. A value of at most
/// 2,000 parts is written as XML, read again to the same value, and written again to the same
/// bytes, as far as XML can hold it.

#include "fuzzers/fuzzing.h"
#include "fuzzers/xml_outcome.h"
#include "simulator/core_foundation/array.h"
#include "simulator/core_foundation/dictionary.h"
#include "simulator/core_foundation/property_list.h"
#include "simulator/core_foundation/set.h"

#include <algorithm>

namespace vandrel::fuzzing {

namespace {

/// Subtracts the number of values from `allowance`; false if there are more. A shared value is
/// counted each time.
bool unfolds_within(CFTypeRef value, int& allowance) {
    if (--allowance < 0) {
        return false;
    }
    const auto fits = [&allowance](const auto& inner) {
        return unfolds_within(inner.get(), allowance);
    };
    if (const auto* array = simulator::cast<__CFArray>(value)) {
        return std::ranges::all_of(array->values, fits);
    }
    if (const auto* dictionary = simulator::cast<__CFDictionary>(value)) {
        return std::ranges::all_of(dictionary->table.entries(),
                                   [&](const auto& entry) { return fits(entry.value); });
    }
    if (const auto* set = simulator::cast<__CFSet>(value)) {
        return std::ranges::all_of(set->members.entries(),
                                   [&](const auto& member) { return fits(member.key); });
    }
    return true;
}

} // namespace

void try_input(input bytes) {
    if (!simulator::is_binary_property_list(bytes)) {
        return;
    }
    // A small file can share its parts so often that writing them takes a second.
    int allowance = 2'000;
    const auto value = read_property_list(bytes);
    if (value && unfolds_within(value.get(), allowance)) {
        require_outcome_in_xml(value.get());
    }
}

} // namespace vandrel::fuzzing
