#pragma once

/// What the user asks for.

#include "station/bench_options.h"
#include "station/tool_process.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace vandrel::station {

enum class station_command { list, restore, recover, bundles, slots, doctor, report };

/// As it was given; files are not looked at yet. Paths are UTF-8, empty when they were not given.
/// `tool` is the vandrel beside this program, unless another was given.
struct station_arguments {
    station_command what = station_command::restore;
    tool_command tool;
    /// All that needs no file: the ECIDs are normalized, times are as given.
    bench_options options;
    std::string bundle;
    /// A folder.
    std::string bundles;
    std::string options_file;
    std::string only_file;
    std::string slots_file;
    std::string scratch;
    std::string run_folder;
    /// Of the command `report`: the page.
    std::string output;
    std::optional<std::size_t> at_once;
    std::chrono::seconds restore_timeout = std::chrono::hours(2);
    std::map<std::string, std::string> tags;
    bool json = false;
    /// Lines of text, also on a terminal.
    bool plain = false;
    /// No bell.
    bool quiet = false;
    /// Of the command `bundles`.
    bool verify = false;
    /// Of the command `slots`.
    bool learn = false;
    /// Of the command `doctor`.
    bool clean = false;
    std::optional<unsigned> list_seconds;
};

/// What to print instead, and the exit status: help, the version, or what is wrong.
struct command_line_end {
    std::string output;
    std::string error;
    int status = 0;
};

/// `arguments` are UTF-8, the program's own name first.
std::variant<station_arguments, command_line_end> parse_command_line(int argument_count,
                                                                     const char* const* arguments);

} // namespace vandrel::station
