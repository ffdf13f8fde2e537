#pragma once

/// The status tables as lines of source text, to be compared with the texts that MobileDevice
/// itself has for its codes.

#include "platform/core_foundation.h"

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>

namespace vandrel {

class output_str_state;

/// The `case` line of one code, with the text as it is: quotes are not escaped. None for a null
/// text, and for a text that begins with any of `unrecognized`: MobileDevice's texts of unknown
/// codes begin so.
std::optional<std::string> case_line(std::int32_t code, CFStringRef text,
                                     std::initializer_list<CFStringRef> unrecognized);

/// Queues diagnostics on `output`: a banner, one `case` line for each operation code from 0 to 999,
/// and an empty line. Throws std::invalid_argument if `output` is null.
void print_imp_AMRLocalizedCopyStringForAMROperation(std::shared_ptr<output_str_state> output);

/// The same for the error codes from 0 to 9999.
void print_imp_AMRLocalizedCopyStringForAMRError(std::shared_ptr<output_str_state> output);

} // namespace vandrel
