#pragma once

#include "driver/start_options.h"

#include <boost/program_options/options_description.hpp>

#include <memory>

namespace vandrel {

class output_str_state;

/// Does what the command line asks for. Returns the exit status: 0, or that of the error that ended
/// the command, whose record has been queued. Without memory for that error or its record, only the
/// exit status reports the failure.
int run_command(const start_options& options,
                const boost::program_options::options_description& description,
                const std::shared_ptr<output_str_state>& outputter) noexcept;

} // namespace vandrel
