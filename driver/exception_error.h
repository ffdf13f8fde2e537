#pragma once

#include "driver/tool_error.h"

#include <exception>

namespace vandrel {

/// The tool error that a standard exception is reported as: the command-line library's own
/// exceptions have codes of their own, every other one is an unknown error. The failure reason is
/// the exception's text. Where memory is short the error is an unknown one that says so, and
/// without memory for that std::bad_alloc is thrown.
cf_error_handle error_of(const std::exception& exception);

} // namespace vandrel
