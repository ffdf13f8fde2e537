#pragma once

#include "driver/tool_error.h"

#include <exception>

namespace vandrel {

/// The tool error that a standard exception is reported as: the command-line library's own
/// exceptions have codes of their own, every other one is an unknown error. The failure reason is
/// the exception's text.
cf_error_handle error_of(const std::exception& exception);

} // namespace vandrel
