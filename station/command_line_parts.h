#pragma once

/// What commands share, and the commands of command_line_bench.cpp.

#include "station/command_line.h"

namespace CLI {
class App;
} // namespace CLI

namespace vandrel::station {

/// --json and --plain.
void add_view(CLI::App* to, station_arguments& result);

/// --tool, --tool-argument and, for tests, --rule-time.
void add_program(CLI::App* to, station_arguments& result);

CLI::App* add_slots(CLI::App& app, station_arguments& result);
CLI::App* add_doctor(CLI::App& app, station_arguments& result);

} // namespace vandrel::station
