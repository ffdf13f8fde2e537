#include "station/bundles_run.h"
#include "station/command_line.h"
#include "station/doctor_run.h"
#include "station/host.h"
#include "station/launch.h"
#include "station/list_run.h"
#include "station/preparation.h"
#include "station/report_run.h"
#include "station/slots_run.h"
#include "station/station_run.h"
#include "station/text.h"

#include <exception>
#include <string>
#include <utility>

namespace vandrel::station {

namespace {

int run(station_arguments arguments) {
    if (arguments.what == station_command::list) {
        return run_list(arguments);
    }
    if (arguments.what == station_command::bundles) {
        return run_bundles(arguments);
    }
    if (arguments.what == station_command::slots) {
        return run_slots(arguments);
    }
    if (arguments.what == station_command::doctor) {
        return run_doctor(arguments);
    }
    if (arguments.what == station_command::report) {
        return run_report(arguments);
    }
    return run_devices(prepare(std::move(arguments)));
}

int say_why_not(const std::string& why, int status) {
    write_all(standard_stream::error, "vandrel-station: " + why + "\n");
    return status;
}

} // namespace

int launch(int argument_count, const char* const* arguments) {
    auto parsed = parse_command_line(argument_count, arguments);
    if (const auto* end = std::get_if<command_line_end>(&parsed)) {
        write_all(standard_stream::out, end->output);
        write_all(standard_stream::error, end->error);
        return end->status;
    }
    try {
        return run(std::get<station_arguments>(std::move(parsed)));
    } catch (const refusal& error) {
        return say_why_not(error.what(), error.status);
    } catch (const std::exception& error) {
        return say_why_not(printable(error.what()), static_cast<int>(early_exit::cannot_work));
    }
}

} // namespace vandrel::station
