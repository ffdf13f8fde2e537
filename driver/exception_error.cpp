#include "driver/exception_error.h"

#include <boost/program_options/errors.hpp>
#include <fmt/format.h>

#include <new>

namespace vandrel {

namespace po = boost::program_options;

tool_error code_of(const std::exception& exception) {
    if (dynamic_cast<const po::multiple_occurrences*>(&exception) != nullptr ||
        dynamic_cast<const po::unknown_option*>(&exception) != nullptr) {
        return tool_error::bad_command;
    }
    if (dynamic_cast<const po::invalid_option_value*>(&exception) != nullptr) {
        return tool_error::invalid_argument;
    }
    return tool_error::unknown_error;
}

std::string reason_of(const std::exception& exception) {
    if (const auto* repeated = dynamic_cast<const po::multiple_occurrences*>(&exception)) {
        return fmt::format("Option '{}' may only be specified once", repeated->get_option_name());
    }
    return exception.what();
}

cf_error_handle error_of(tool_error code, const std::string& reason) {
    try {
        return make_tool_error(code, reason);
    } catch (const std::bad_alloc& failure) {
        // A smaller error, and by now there may be memory again.
        return make_tool_error(tool_error::unknown_error, failure.what());
    }
}

cf_error_handle error_of(const std::exception& exception) {
    return error_of(code_of(exception), reason_of(exception));
}

} // namespace vandrel
