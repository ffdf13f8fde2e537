#include "driver/parse_arguments.h"

#include "driver/command_line_log.h"
#include "driver/exception_error.h"
#include "driver/option_table.h"
#include "driver/percent_marks.h"

#include <exception>
#include <memory>
#include <utility>

namespace vandrel {

namespace {

/// Throws std::bad_alloc.
parse_result parse(int argument_count, const char* const* arguments) {
    const auto options = std::make_shared<start_options>();
    const auto table = option_table(options);
    cf_error_handle error;
    try {
        parse_options(table, argument_count, arguments);
    } catch (const std::exception& exception) {
        const failure refusal = failure_of(exception, stage::parsing);
        error = make_tool_error(refusal.code, without_marks(refusal.reason));
    }
    if (options->amr_logfile) {
        log_command_line(*options->amr_logfile, argument_count, arguments);
    }
    const int status = tool_exit_code(error.get());
    return {*options, table, std::move(error), status};
}

} // namespace

parse_result parse_arguments(int argument_count, const char* const* arguments) noexcept {
    try {
        return parse(argument_count, arguments);
    } catch (...) {
        return {{}, {}, make_out_of_memory_error(), static_cast<int>(tool_error::unknown_error)};
    }
}

} // namespace vandrel
