#pragma once

#include "driver/start_options.h"

#include <boost/program_options/options_description.hpp>

#include <memory>

namespace vandrel {

/// The table of the options, in the order in which `--help` prints them. Parsing stores into
/// `options`, of which the table shares ownership. Throws std::bad_alloc.
boost::program_options::options_description
option_table(const std::shared_ptr<start_options>& options);

/// Parses the arguments after the program's name, and stores them where `table` stores its options.
/// Throws the exceptions of Boost.Program_options, whose texts still have the marks of
/// percent_marks.h, and std::length_error if there is not even a program's name; nothing is stored
/// then. Throws std::bad_alloc, after which some values may be stored.
void parse_options(const boost::program_options::options_description& table, int argument_count,
                   const char* const* arguments);

} // namespace vandrel
