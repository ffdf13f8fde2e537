#include "station/command_line.h"

#include "station/command_line_parts.h"
#include "station/device.h"
#include "station/host.h"
#include "station/text.h"
#include "station/version.h"

#include <memory>
#include <sstream>
#include <string_view>
#include <utility>

#include <CLI/CLI.hpp>

namespace vandrel::station {

namespace {

using std::chrono::milliseconds;

/// Behind the name of an option stands what it takes, and no more.
class plain_help : public CLI::Formatter {
public:
    plain_help() { label("SUBCOMMAND", "COMMAND"); }
    std::string make_option_opts(const CLI::Option* option) const override {
        const bool takes = option->get_type_size() != 0 && !option->get_type_name().empty();
        return takes ? " " + option->get_type_name() : std::string();
    }
};

constexpr const char* about_times = "A TIME is a number of seconds, or like 500ms, 30m or 2h.\n\n";

/// "90", "0.2", "500ms", "30m", "2h"; a number alone is in seconds.
milliseconds read_time(const std::string& text) {
    std::size_t end = 0;
    double number = -1;
    try {
        number = std::stod(text, &end);
    } catch (const std::exception&) {
        end = 0;
    }
    static const std::map<std::string, double> factors = {
        {"", 1e3}, {"s", 1e3}, {"ms", 1}, {"m", 60e3}, {"h", 3600e3}};
    const auto factor = factors.find(text.substr(end));
    constexpr double longest = 366 * 24 * 3600e3;
    if (end == 0 || factor == factors.end() || !(number >= 0) ||
        number * factor->second > longest) {
        throw CLI::ValidationError("\"" + printable(text) +
                                   "\" is no time; times look like 90, 0.5, 30m or 2h");
    }
    return milliseconds(static_cast<std::int64_t>(number * factor->second));
}

std::pair<std::string, std::string> split_pair(const std::string& text) {
    const std::size_t middle = text.find('=');
    if (middle == 0 || middle == std::string::npos) {
        throw CLI::ValidationError("\"" + printable(text) + "\" is not of the form KEY=VALUE");
    }
    return {text.substr(0, middle), text.substr(middle + 1)};
}

void add_time(CLI::App* to, const std::string& name, awake_time& value, const std::string& what) {
    to->add_option_function<std::string>(
          name, [&value](const std::string& text) { value = read_time(text); }, what)
        ->type_name("TIME");
}

/// Sets a rule's time, for tests.
void set_time(bench_times& times, std::optional<unsigned>& list_seconds, const std::string& text) {
    const auto [name, value] = split_pair(text);
    if (name == "list_detect") {
        list_seconds = static_cast<unsigned>(read_time(value).count() / 1000);
        return;
    }
    const std::map<std::string, awake_time*> all = {
        {"quiet", &times.quiet},
        {"never_began", &times.never_began},
        {"linger_at_most", &times.linger_at_most},
        {"give_up", &times.give_up},
        {"stream_after_process", &times.stream_after_process},
        {"retry_pause", &times.retry_pause},
        {"retry_wait", &times.retry_wait},
        {"list_after_start", &times.list_after_start},
        {"list_limit", &times.list_limit},
        {"away", &times.away},
        {"came_back", &times.came_back},
        {"stays", &times.stays},
        {"clock_gap", &times.clock_gap},
        {"third_cancel", &times.third_cancel}};
    const auto found = all.find(name);
    if (found == all.end()) {
        throw CLI::ValidationError("no time is called \"" + printable(name) + "\"");
    }
    *found->second = read_time(value);
}

void add_tool(CLI::App* to, station_arguments& result) {
    add_program(to, result);
    to->add_option("--slots", result.slots_file,
                   "Names of USB ports: lines of a location number and a name")
        ->type_name("FILE");
    add_view(to, result);
}

void add_devices(CLI::App* to, station_arguments& result) {
    bench_options& options = result.options;
    to->add_option_function<std::vector<std::string>>(
          "--ecid",
          [&options](const std::vector<std::string>& texts) {
              for (const std::string& each : texts) {
                  const auto ecid = normalized_ecid(each);
                  if (!ecid) {
                      throw CLI::ValidationError("\"" + printable(each) + "\" is no ECID");
                  }
                  options.ecids.insert(*ecid);
              }
          },
          "A device; can be given several times")
        ->type_name("ECID")
        ->allow_extra_args(false);
    to->add_option("--only", result.only_file, "Devices: ECIDs or serial numbers, one a line")
        ->type_name("FILE");
    to->add_flag("--all", options.all, "All devices that are attached");
    to->add_flag("--yes", options.yes, "Do not ask");
    to->add_option("--expect", options.expect, "Refuse unless exactly N devices are chosen")
        ->type_name("N");
    to->add_flag("--dry-run", options.dry_run, "Show what would be done, and end");
}

void add_run(CLI::App* to, station_arguments& result) {
    bench_options& options = result.options;
    to->add_option("--at-once", result.at_once, "How many tools run side by side (8)")
        ->type_name("N")
        ->check(CLI::Range(1, 1000).description(""));
    add_time(to, "--stagger", options.stagger, "Time from one start to the next (2)");
    add_time(to, "--poll", options.poll, "Time between two lists (30)");
    to->add_option("--scratch", result.scratch, "Where tools unpack (the temporary folder)")
        ->type_name("FOLDER");
    to->add_option("--run-folder", result.run_folder, "A new folder for the run's own record")
        ->type_name("FOLDER");
    to->add_option_function<std::vector<std::string>>(
          "--tag",
          [&result](const std::vector<std::string>& texts) {
              for (const std::string& each : texts) {
                  result.tags.insert(split_pair(each));
              }
          },
          "A tag for every event of the log; can be given several times")
        ->type_name("KEY=VALUE")
        ->allow_extra_args(false);
    to->add_flag("--quiet", result.quiet, "No bell at a failure and at the end");
}

CLI::App* add_restore(CLI::App& app, station_arguments& result) {
    CLI::App* to = app.add_subcommand("restore", "Restore devices side by side");
    bench_options& options = result.options;
    auto* with_bundle =
        to->add_option("--bundle", result.bundle, "The IPSW for all of them")->type_name("FILE");
    auto* with_options =
        to->add_option("--options", result.options_file,
                       "Restore options, an XML property list for vandrel --restore-plist")
            ->type_name("FILE");
    auto* with_folder =
        to->add_option("--bundles", result.bundles,
                       "For each device the newest IPSW in this folder that is for it")
            ->type_name("FOLDER");
    with_bundle->excludes(with_options)->excludes(with_folder);
    with_folder->excludes(with_options);
    to->add_flag("--erase", options.erase, "Erase them; with --bundle or --bundles")
        ->excludes(with_options);
    add_devices(to, result);
    to->add_flag("--any-bundle", options.any_bundle,
                 "Also devices that the bundle is not for; with --ecid only")
        ->excludes(with_folder);
    to->add_flag("--watch", options.watch, "Go on with each device that comes later");
    to->add_option("--count", options.count, "End the watch after so many devices")->type_name("N");
    to->add_option_function<std::string>(
          "--for", [&options](const std::string& text) { options.watch_time = read_time(text); },
          "End the watch after this time")
        ->type_name("TIME");
    to->add_option("--retries", options.retries, "How often a failed device is tried again (0)")
        ->type_name("N")
        ->check(CLI::Range(0, 100).description(""));
    to->add_option("--stop-after", options.stop_after,
                   "Begin no more devices after so many failures in a row (5; 0: never)")
        ->type_name("N");
    to->add_option_function<std::string>(
          "--restore-timeout",
          [&result](const std::string& text) {
              result.restore_timeout =
                  std::chrono::duration_cast<std::chrono::seconds>(read_time(text));
          },
          "How long one restore may take (2h)")
        ->type_name("TIME");
    add_time(to, "--stall-timeout", options.stall_timeout,
             "Silence after which a tool is ended (30m)");
    add_time(to, "--linger", options.linger,
             "Time that a tool has to end by itself after a failure (30)");
    add_run(to, result);
    add_tool(to, result);
    to->footer(std::string(about_times) +
               "Examples\n"
               "Erase and restore all devices that are attached, after a question:\n"
               "  vandrel-station restore --bundle iPhone.ipsw --all --erase\n"
               "Restore, and go on with each device that is attached within two hours:\n"
               "  vandrel-station restore --bundle iPhone.ipsw --all --watch --for 2h\n"
               "Give each device the newest IPSW in a folder; show first which:\n"
               "  vandrel-station restore --bundles D:\\ipsw --all --dry-run\n"
               "Erase exactly one device, from a program:\n"
               "  vandrel-station restore --bundle iPhone.ipsw --ecid 0001A2B3C4D5E6F7 --erase "
               "--yes --json");
    return to;
}

CLI::App* add_recover(CLI::App& app, station_arguments& result, bool& exit, bool& stay) {
    CLI::App* to = app.add_subcommand("recover", "Make devices leave Recovery mode, or stay");
    auto* with_exit = to->add_flag("--exit", exit, "Boot");
    to->add_flag("--stay", stay, "Stay in Recovery mode when they reboot")->excludes(with_exit);
    add_devices(to, result);
    add_run(to, result);
    add_tool(to, result);
    to->footer(std::string(about_times) +
               "Example, which boots all devices that are in Recovery mode:\n"
               "  vandrel-station recover --exit --all");
    return to;
}

CLI::App* add_list(CLI::App& app, station_arguments& result) {
    CLI::App* to = app.add_subcommand("list", "Show the attached devices");
    auto* with_bundle =
        to->add_option("--bundle", result.bundle, "An IPSW: show the models, and which it is for")
            ->type_name("FILE");
    to->add_option("--bundles", result.bundles,
                   "A folder of IPSWs: show the models, and the newest for each")
        ->type_name("FOLDER")
        ->excludes(with_bundle);
    add_tool(to, result);
    to->footer("Example:\n  vandrel-station list --bundle iPhone.ipsw");
    return to;
}

CLI::App* add_bundles(CLI::App& app, station_arguments& result) {
    CLI::App* to = app.add_subcommand("bundles", "Show the IPSW files of a folder");
    to->add_option("FOLDER", result.bundles, "Its files with names that end in .ipsw");
    to->add_flag("--verify", result.verify,
                 "Unpack each file once, keep nothing, and compare the sums");
    add_view(to, result);
    to->footer("Example, which looks for files that were not copied well:\n"
               "  vandrel-station bundles D:\\ipsw --verify");
    return to;
}

CLI::App* add_report(CLI::App& app, station_arguments& result) {
    CLI::App* to =
        app.add_subcommand("report", "Make a page of a run that has ended or is under way");
    to->add_option("RUN-FOLDER", result.run_folder,
                   "The folder of the run (the newest in the local application data)");
    to->add_option("--output", result.output, "The page (report.html in the run's folder)")
        ->type_name("FILE");
    to->footer("Example, which shows the newest run:\n"
               "  vandrel-station report --output run.html");
    return to;
}

void check_devices(const station_arguments& result) {
    const bench_options& options = result.options;
    if (options.ecids.empty() && result.only_file.empty() && !options.all) {
        throw CLI::ValidationError("which devices? Give --ecid, --only or --all");
    }
    if (options.any_bundle && (options.all || !result.only_file.empty())) {
        throw CLI::ValidationError("--any-bundle goes with --ecid only");
    }
}

void check_restore(const station_arguments& result) {
    if (result.bundle.empty() && result.bundles.empty() && result.options_file.empty()) {
        throw CLI::ValidationError("what to restore with? Give --bundle, --bundles or --options");
    }
    const bench_options& options = result.options;
    if (!options.watch && (options.count || options.watch_time)) {
        throw CLI::ValidationError("--count and --for go with --watch only");
    }
    check_devices(result);
}

void check_recover(station_arguments& result, bool exit, bool stay) {
    if (!exit && !stay) {
        throw CLI::ValidationError("what to do? Give --exit or --stay");
    }
    result.options.what = exit ? command::recover_exit : command::recover_stay;
    check_devices(result);
}

void check_folder(const station_arguments& result) {
    if (result.bundles.empty()) {
        throw CLI::ValidationError("which folder? Give its name");
    }
}

std::string one_line(std::string text) {
    for (char& c : text) {
        c = c == '\n' ? ' ' : c;
    }
    return text;
}

} // namespace

void add_view(CLI::App* to, station_arguments& result) {
    auto* with_json = to->add_flag("--json", result.json, "Write JSON, for programs");
    to->add_flag("--plain", result.plain, "Write lines of text, also on a terminal")
        ->excludes(with_json);
}

void add_program(CLI::App* to, station_arguments& result) {
    to->add_option("--tool", result.tool.program,
                   "Program to start instead of the vandrel beside this one")
        ->type_name("PROGRAM");
    to->add_option("--tool-argument", result.tool.arguments,
                   "An argument in front of all others; can be given several times")
        ->type_name("ARGUMENT")
        ->allow_extra_args(false);
    to->add_option_function<std::vector<std::string>>(
          "--rule-time",
          [&result](const std::vector<std::string>& texts) {
              for (const std::string& each : texts) {
                  set_time(result.options.times, result.list_seconds, each);
              }
          },
          "Another time for one of the rules, for tests")
        ->allow_extra_args(false)
        ->group("");
}

std::variant<station_arguments, command_line_end> parse_command_line(int argument_count,
                                                                     const char* const* arguments) {
    station_arguments result;
    bool exit = false;
    bool stay = false;
    CLI::App app("Restores a tableful of Apple devices with vandrel, and says what became of each.",
                 "vandrel-station");
    app.allow_windows_style_options(false);
    app.require_subcommand(1);
    app.set_version_flag("--version", std::string("vandrel-station ") + version);
    app.formatter(std::make_shared<plain_help>());
    CLI::App* list = add_list(app, result);
    CLI::App* restore = add_restore(app, result);
    CLI::App* recover = add_recover(app, result, exit, stay);
    CLI::App* bundles = add_bundles(app, result);
    CLI::App* slots = add_slots(app, result);
    CLI::App* doctor = add_doctor(app, result);
    CLI::App* report = add_report(app, result);
    app.footer("vandrel-station COMMAND --help has the options of a command, and examples.");
    for (CLI::App* each : {list, restore, recover, bundles, slots, doctor, report}) {
        each->group("Commands");
        each->allow_windows_style_options(false);
    }
    try {
        app.parse(argument_count, arguments);
        if (*list) {
            result.what = station_command::list;
        } else if (*restore) {
            result.what = station_command::restore;
            check_restore(result);
        } else if (*bundles) {
            result.what = station_command::bundles;
            check_folder(result);
        } else if (*report) {
            result.what = station_command::report;
        } else if (*recover) {
            result.what = station_command::recover;
            check_recover(result, exit, stay);
        }
    } catch (const CLI::ParseError& error) {
        std::ostringstream output;
        std::ostringstream ignored;
        if (app.exit(error, output, ignored) == 0) {
            return command_line_end{output.str(), "", 0};
        }
        // Nothing else is required by the library's means.
        const bool lacks_command = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
        const std::string why =
            lacks_command ? "which command? --help lists them" : one_line(error.what());
        return command_line_end{"", "vandrel-station: " + why + "\n", 2};
    }
    if (result.tool.program.empty()) {
        result.tool.program = text_of(program_folder() / program_file_name("vandrel"));
    }
    return result;
}

} // namespace vandrel::station
