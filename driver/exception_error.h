#pragma once

#include "driver/tool_error.h"

#include <exception>
#include <string>

namespace vandrel {

/// The code that a standard exception is reported with: the command-line library's own exceptions
/// have codes of their own, every other one is an unknown error.
tool_error code_of(const std::exception& exception);

/// The failure reason that a standard exception is reported with: its text, as a rule.
std::string reason_of(const std::exception& exception);

/// The tool error of this code and reason. Where memory is short it is an unknown error that says
/// so, and without memory for that std::bad_alloc is thrown.
cf_error_handle error_of(tool_error code, const std::string& reason);

/// The tool error that a standard exception is reported as, under the same conditions.
cf_error_handle error_of(const std::exception& exception);

} // namespace vandrel
