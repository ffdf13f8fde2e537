#pragma once

/// The status tables as lines of source text, to be compared with what the restore framework itself
/// says of its codes.

#include "output/output_str_state.h"
#include "platform/core_foundation.h"

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>

namespace vandrel {

/// The `case` line of one code; the text stands in it as it is, quotes and all. None for a null
/// text, and for one that begins with any of `unrecognized`: our own tables have a text for every
/// code, but the framework's say so where they have none.
std::optional<std::string> case_line(std::int32_t code, CFStringRef text,
                                     std::initializer_list<CFStringRef> unrecognized);

/// Queues debug lines on `output`: a banner, one `case` line for each operation code from 0 to 999,
/// and an empty line. Throws std::invalid_argument when `output` is empty.
void print_imp_AMRLocalizedCopyStringForAMROperation(std::shared_ptr<output_str_state> output);

/// The same for the error codes from 0 to 9999.
void print_imp_AMRLocalizedCopyStringForAMRError(std::shared_ptr<output_str_state> output);

} // namespace vandrel
