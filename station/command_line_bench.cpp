#include "station/command_line_parts.h"

#include <CLI/CLI.hpp>

namespace vandrel::station {

namespace {

void check_slots(const station_arguments& result) {
    if (result.slots_file.empty()) {
        throw CLI::ValidationError("which file? Give --slots");
    }
    if (result.learn && result.json) {
        throw CLI::ValidationError("--learn excludes --json");
    }
}

} // namespace

CLI::App* add_slots(CLI::App& app, station_arguments& result) {
    CLI::App* to = app.add_subcommand("slots", "Show what is in the named USB ports, or name them");
    to->add_option("--slots", result.slots_file,
                   "Names of USB ports: lines of a location number and a name")
        ->type_name("FILE");
    to->add_flag("--learn", result.learn,
                 "Ask for a device in each port in turn, and write the file");
    add_program(to, result);
    add_view(to, result);
    to->footer("Examples\n"
               "Name the ports of a hub, with one device:\n"
               "  vandrel-station slots --learn --slots slots.txt\n"
               "Show what is in them:\n"
               "  vandrel-station slots --slots slots.txt");
    to->callback([&result] {
        result.what = station_command::slots;
        check_slots(result);
    });
    return to;
}

CLI::App* add_doctor(CLI::App& app, station_arguments& result) {
    CLI::App* to = app.add_subcommand("doctor", "Check what restores need on this computer");
    to->add_option("--bundles", result.bundles, "A folder of IPSWs, to check as well")
        ->type_name("FOLDER");
    to->add_option("--scratch", result.scratch, "Where tools unpack (the temporary folder)")
        ->type_name("FOLDER");
    to->add_flag("--clean", result.clean, "Remove the scratch folders of tools that were killed");
    add_program(to, result);
    add_view(to, result);
    to->footer("Examples\n"
               "Check everything, with the bundles:\n"
               "  vandrel-station doctor --bundles D:\\ipsw\n"
               "Remove what killed tools have left:\n"
               "  vandrel-station doctor --clean");
    to->callback([&result] { result.what = station_command::doctor; });
    return to;
}

} // namespace vandrel::station
