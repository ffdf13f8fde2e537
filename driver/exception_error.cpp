#include "driver/exception_error.h"

#include <boost/program_options/errors.hpp>
#include <fmt/format.h>

#include <new>

namespace vandrel {

namespace {

namespace po = boost::program_options;

cf_error_handle make_error_of(const std::exception& exception) {
    if (const auto* repeated = dynamic_cast<const po::multiple_occurrences*>(&exception)) {
        return make_tool_error(
            tool_error::bad_command,
            fmt::format("Option '{}' may only be specified once", repeated->get_option_name()));
    }
    if (dynamic_cast<const po::unknown_option*>(&exception) != nullptr) {
        return make_tool_error(tool_error::bad_command, exception.what());
    }
    if (dynamic_cast<const po::invalid_option_value*>(&exception) != nullptr) {
        return make_tool_error(tool_error::invalid_argument, exception.what());
    }
    return make_tool_error(tool_error::unknown_error, exception.what());
}

} // namespace

cf_error_handle error_of(const std::exception& exception) {
    try {
        return make_error_of(exception);
    } catch (const std::bad_alloc& failure) {
        // A smaller error, and by now there may be memory again.
        return make_tool_error(tool_error::unknown_error, failure.what());
    }
}

} // namespace vandrel
