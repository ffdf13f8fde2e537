#pragma once

#include "driver/start_options.h"
#include "foundation/cf_handle.h"

#include <boost/program_options/options_description.hpp>

namespace vandrel {

/// The outcome of parsing a command line.
struct parse_result {
    start_options options;
    /// What `--help` prints.
    boost::program_options::options_description description;
    /// Null when the command line could be parsed.
    cf_error_handle error;
};

/// Parses the arguments after the program's name. Texts are UTF-8. Whether the options go together
/// is not looked at. A failure comes back in the result, never as an exception; `options` then
/// holds what had been understood. A log file among the options that does not exist yet is made,
/// with the command line in it.
parse_result parse_arguments(int argument_count, const char* const* arguments);

/// Whether the command line can be parsed and asks for help, which is given without any function of
/// the platform.
bool asks_for_help(int argument_count, const char* const* arguments);

} // namespace vandrel
