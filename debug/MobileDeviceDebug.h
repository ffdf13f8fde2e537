#pragma once

/// The status tables as lines of source text, to be compared with what the restore framework itself
/// says of its codes.

#include "output/output_str_state.h"

#include <memory>

namespace vandrel {

/// Queues debug lines on `output`: a banner, one `case` line for each operation code from 0 to 999,
/// and an empty line. Throws std::invalid_argument when `output` is empty.
void print_imp_AMRLocalizedCopyStringForAMROperation(std::shared_ptr<output_str_state> output);

/// The same for the error codes from 0 to 9999.
void print_imp_AMRLocalizedCopyStringForAMRError(std::shared_ptr<output_str_state> output);

} // namespace vandrel
