#include "driver/run_command.h"

#include "debug/MobileDeviceDebug.h"
#include "device/RestorableDeviceHandler.h"
#include "driver/configure_session.h"
#include "driver/exception_error.h"
#include "output/output_str_state.h"

#include <new>
#include <sstream>
#include <utility>

namespace vandrel {

namespace {

void print_help(const boost::program_options::options_description& description,
                output_str_state& outputter) {
    std::ostringstream text;
    text << description;
    outputter.set_debug(true);
    outputter.push_debug(text.str());
}

void run_session(const start_options& options, const std::shared_ptr<output_str_state>& outputter) {
    std::optional<boost::filesystem::path> amr_logfile;
    if (options.amr_logfile) {
        amr_logfile = *options.amr_logfile;
    }
    configure_session(
        options, std::make_shared<device_notifier_state>(outputter, amr_logfile, std::nullopt));
}

/// What ended the command; empty when it came to its end.
cf_error_handle run_until_error(const start_options& options,
                                const boost::program_options::options_description& description,
                                const std::shared_ptr<output_str_state>& outputter) {
    try {
        if (options.debug) {
            outputter->set_debug(true);
        }
        if (options.help) {
            print_help(description, *outputter);
        } else if (options.debug_dump) {
            outputter->set_debug(true);
            print_imp_AMRLocalizedCopyStringForAMROperation(outputter);
            print_imp_AMRLocalizedCopyStringForAMRError(outputter);
        } else {
            run_session(options, outputter);
        }
        return {};
    } catch (cf_error_handle& thrown) {
        return std::move(thrown);
    } catch (const std::exception& exception) {
        return error_of(exception);
    }
}

} // namespace

int run_command(const start_options& options,
                const boost::program_options::options_description& description,
                const std::shared_ptr<output_str_state>& outputter) {
    int status = static_cast<int>(tool_error::unknown_error);
    try {
        const cf_error_handle error = run_until_error(options, description, outputter);
        status = tool_exit_code(error.get());
        if (error) {
            outputter->print_formatted_error(error.get());
        }
    } catch (const std::bad_alloc&) { // NOLINT(bugprone-empty-catch)
        // Without memory for a record, the status tells alone.
    }
    return status;
}

} // namespace vandrel
