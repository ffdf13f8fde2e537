#include "driver/exception_error.h"

#include "output/output_str_state.h"

#include <boost/program_options/errors.hpp>
#include <fmt/format.h>

#include <stdexcept>

namespace vandrel {

namespace {

template<class Exception>
const Exception* cast(const std::exception& exception) {
    return dynamic_cast<const Exception*>(&exception);
}

} // namespace

failure failure_of(const std::exception& exception, stage caught_in) {
    namespace po = boost::program_options;
    if (const auto* repeated = cast<po::multiple_occurrences>(exception)) {
        return {tool_error::bad_command,
                fmt::format("Option '{}' may only be specified once", repeated->get_option_name())};
    }
    if (cast<po::unknown_option>(exception) != nullptr) {
        return {tool_error::bad_command, exception.what()};
    }
    if (cast<po::invalid_option_value>(exception) != nullptr) {
        return {tool_error::invalid_argument, exception.what()};
    }
    if (caught_in == stage::parsing && cast<std::length_error>(exception) != nullptr) {
        return {tool_error::bad_command, exception.what()};
    }
    return {tool_error::unknown_error, exception.what()};
}

cf_error_handle error_of(const std::exception& exception) noexcept {
    try {
        const failure found = failure_of(exception, stage::running);
        return make_tool_error(found.code, found.reason);
    } catch (...) {
        return make_out_of_memory_error();
    }
}

int report_error(CFErrorRef error, output_str_state& outputter) noexcept {
    if (error == nullptr) {
        return static_cast<int>(tool_error::unknown_error);
    }
    const int status = tool_exit_code(error);
    try {
        outputter.print_formatted_error(error);
        return status;
    } catch (...) {
        // Without memory for the record.
        return status;
    }
}

} // namespace vandrel
