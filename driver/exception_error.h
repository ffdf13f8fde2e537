#pragma once

#include "driver/tool_error.h"

#include <exception>
#include <string>

namespace vandrel {

class output_str_state;

/// The phase in which an exception is caught.
enum class stage { parsing, running };

/// What a standard exception is reported as.
struct failure {
    tool_error code;
    std::string reason;
};

/// Of the exceptions of Boost.Program_options, an unknown option and an option given twice are bad
/// commands, and an invalid value is an invalid argument. A std::length_error is a bad command
/// while the command line is parsed. Every other exception is an unknown error. The reason is the
/// exception's text, except for an option given twice. Throws std::bad_alloc.
failure failure_of(const std::exception& exception, stage caught_in);

/// The tool error for an exception that ends a command; make_out_of_memory_error when there is no
/// memory for it.
cf_error_handle error_of(const std::exception& exception) noexcept;

/// Queues the record of `error` and returns the exit status. A null `error` means that there was no
/// memory for it: nothing is queued, and the status is 1. If there is no memory for the
/// record, none is queued, and the status is still that of `error`.
int report_error(CFErrorRef error, output_str_state& outputter) noexcept;

} // namespace vandrel
