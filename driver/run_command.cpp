#include "driver/run_command.h"

#include "debug/MobileDeviceDebug.h"
#include "device/RestorableDeviceHandler.h"
#include "driver/configure_session.h"
#include "driver/exception_error.h"
#include "output/output_str_state.h"

#include <exception>
#include <sstream>

namespace vandrel {

namespace {

void print_help(const boost::program_options::options_description& description,
                output_str_state& outputter) {
    std::ostringstream text;
    // Without this, a text is cut short, without an error, if there is no memory for it.
    text.exceptions(std::ios_base::badbit);
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

void run(const start_options& options,
         const boost::program_options::options_description& description,
         const std::shared_ptr<output_str_state>& outputter) {
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
}

} // namespace

int run_command(const start_options& options,
                const boost::program_options::options_description& description,
                const std::shared_ptr<output_str_state>& outputter) noexcept {
    try {
        run(options, description, outputter);
        return 0;
    } catch (const cf_error_handle& error) {
        return report_error(error.get(), *outputter);
    } catch (const std::exception& exception) {
        return report_error(error_of(exception).get(), *outputter);
    } catch (...) {
        return report_error(error_of(std::exception()).get(), *outputter);
    }
}

} // namespace vandrel
