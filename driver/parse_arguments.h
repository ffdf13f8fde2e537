#pragma once

#include "driver/start_options.h"
#include "foundation/cf_handle.h"

#include <boost/program_options/options_description.hpp>

namespace vandrel {

/// The outcome of parsing a command line.
struct parse_result {
    /// After a command line that could not be parsed: the defaults, from which the channel for the
    /// error is made. If memory ran out, some may have values of the command line.
    start_options options;
    /// What `--help` prints.
    boost::program_options::options_description description;
    /// Null when the command line could be parsed, or when there is no memory for the error.
    cf_error_handle error;
    /// The exit status of a command line that could not be parsed, else 0.
    int status = 0;
};

/// Parses the arguments after the program's name. Texts are UTF-8. Whether the options go together
/// is not checked. A failure is in the result, never an exception. Creates the log file that the
/// options name, if there is none, with the command line in it.
parse_result parse_arguments(int argument_count, const char* const* arguments) noexcept;

} // namespace vandrel
