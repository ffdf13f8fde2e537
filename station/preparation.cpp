#include "station/preparation.h"

#include "station/choice.h"
#include "station/host.h"
#include "station/slot_file.h"
#include "station/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <system_error>
#include <utility>

namespace vandrel::station {

namespace {

constexpr int usage = static_cast<int>(early_exit::usage);
constexpr int cannot_work = static_cast<int>(early_exit::cannot_work);
constexpr std::size_t most_at_once = 8;
/// The limit that vandrel keeps without --restore-timeout, which it refuses with a file of options.
constexpr auto tools_own_limit = std::chrono::hours(2);
/// How long a disk may take to start.
constexpr auto longest_look = std::chrono::seconds(30);

std::string trimmed(std::string line) {
    constexpr const char* blanks = " \t\r";
    line.erase(line.find_last_not_of(blanks) + 1);
    return line.erase(0, line.find_first_not_of(blanks));
}

/// The lines that hold anything, without those that begin with '#'.
std::vector<std::string> lines_of(const std::string& name) {
    std::ifstream file(path_of(name), std::ios::binary);
    if (!file) {
        throw refusal(usage, printable(name) + " cannot be read");
    }
    std::vector<std::string> result;
    for (std::string line; std::getline(file, line);) {
        if (result.empty() && line.starts_with("\xEF\xBB\xBF")) {
            line.erase(0, 3);
        }
        line = trimmed(line);
        if (!line.empty() && line.front() != '#') {
            result.push_back(line);
        }
    }
    return result;
}

std::set<std::string> read_only(const std::string& name) {
    std::set<std::string> result;
    for (const std::string& each : lines_of(name)) {
        result.insert(ecid_of_entry(each).value_or(each));
    }
    if (result.empty()) {
        throw refusal(usage, printable(name) + " names no device");
    }
    return result;
}

void read_folder(run_settings& settings) {
    const std::string& name = settings.arguments.bundles;
    settings.folder = open_bundle_folder(name);
    const std::vector<bundle_file>& files = look_into(*settings.folder);
    settings.options.from_folder = true;
    settings.options.bundles = usable(files);
    settings.unusable_files = files.size() - settings.options.bundles->size();
    // In a watch, files may come later.
    if (settings.options.bundles->empty() && !settings.options.watch) {
        throw refusal(usage,
                      fmt::format("{} has no bundle that can be used{}", printable(name),
                                  files.empty() ? "" : "; the command \"bundles\" says why"));
    }
}

void read_means(run_settings& settings) {
    const station_arguments& arguments = settings.arguments;
    std::optional<std::filesystem::path> file;
    try {
        if (!arguments.bundles.empty()) {
            read_folder(settings);
        } else if (!arguments.bundle.empty()) {
            file = path_of(arguments.bundle);
        } else if (!arguments.options_file.empty()) {
            const auto options = read_restore_options(path_of(arguments.options_file));
            settings.options.erase = options.erases;
            settings.restore_options = options.content;
            file = options.bundle;
            if (!file && !settings.options.any_bundle) {
                throw refusal(usage,
                              printable(arguments.options_file) +
                                  " names no bundle in RestoreBundlePath, so that it is not known "
                                  "which devices it is for; --any-bundle takes it, with --ecid");
            }
        }
        if (file) {
            settings.made_for = read_bundle(*file);
            settings.options.bundles = {std::make_shared<const bundle>(*settings.made_for)};
        }
    } catch (const std::exception& error) {
        // Also one that is a refusal already.
        throw refusal(usage, error.what());
    }
}

/// `name`: that of the folder; empty for the temporary one.
[[noreturn]] void refuse_scratch(const std::string& name, const std::error_code& error) {
    throw refusal(cannot_work, fmt::format("{} cannot be used for scratch: {}",
                                           name.empty() ? "the temporary folder"
                                                        : "the folder " + printable(name),
                                           error.message()));
}

void find_room(run_settings& settings) {
    const std::string& wanted = settings.arguments.scratch;
    std::error_code error;
    settings.scratch =
        wanted.empty() ? std::filesystem::temp_directory_path(error) : path_of(wanted);
    if (!error) {
        settings.scratch = std::filesystem::absolute(settings.scratch, error);
    }
    if (!error) {
        std::filesystem::create_directories(settings.scratch, error);
    }
    if (!error && !std::filesystem::is_directory(settings.scratch, error)) {
        error = std::make_error_code(std::errc::not_a_directory);
    }
    const auto space =
        error ? std::filesystem::space_info{} : std::filesystem::space(settings.scratch, error);
    if (error) {
        // The system gives an empty path for what it has none for.
        refuse_scratch(settings.scratch.empty() ? wanted : text_of(settings.scratch), error);
    }
    settings.free_bytes = space.available;
    settings.options.at_once = settings.arguments.at_once.value_or(most_at_once);
    if (settings.folder) {
        settings.options.room = space.available;
        settings.options.room_limits_tools = !settings.arguments.at_once;
    }
    if (!settings.made_for) {
        return;
    }
    const auto each = static_cast<double>(room_for(*settings.made_for));
    const double fitting =
        each > 0 ? static_cast<double>(space.available) / each : static_cast<double>(most_at_once);
    if (fitting < 1) {
        throw refusal(cannot_work,
                      fmt::format("{} has {} free, and a restore needs {}",
                                  printable(text_of(settings.scratch)), size_text(space.available),
                                  size_text(static_cast<std::uint64_t>(each))));
    }
    if (!settings.arguments.at_once) {
        settings.options.at_once =
            static_cast<std::size_t>(std::min(static_cast<double>(most_at_once), fitting));
    }
}

std::filesystem::path default_run_folder() {
    std::string time = rfc3339(std::chrono::system_clock::now());
    std::erase_if(time, [](char c) { return c == '-' || c == ':' || c == '.'; });
    try {
        return runs_folder() / (time + "-" + std::to_string(own_process_number()));
    } catch (const std::runtime_error& error) {
        throw refusal(cannot_work, fmt::format("there is no place for the run's folder: {}; give "
                                               "--run-folder",
                                               error.what()));
    }
}

} // namespace

std::filesystem::path runs_folder() {
    return local_data_folder() / "vandrel" / "station";
}

std::shared_ptr<bundle_folder> open_bundle_folder(const std::string& folder) {
    bundle_folder::settings how;
    std::error_code error;
    // Without "." and a separator at the end, which would make another folder of it for the cache.
    for (const auto& part : std::filesystem::absolute(path_of(folder), error)) {
        if (!part.empty() && part != ".") {
            how.folder /= part;
        }
    }
    how.cache = cache_of(how.folder);
    how.is_slow = [](const std::filesystem::path& file) {
        write_all(standard_stream::error, "vandrel-station: still reading " +
                                              printable(text_of(file)) + ": its disk is slow\n");
    };
    return std::make_shared<bundle_folder>(std::move(how));
}

const std::vector<bundle_file>& look_into(bundle_folder& folder) {
    try {
        return folder.look(longest_look);
    } catch (const std::exception& error) {
        throw refusal(usage, error.what());
    }
}

slot_names read_slots(const std::string& file) {
    slot_names result;
    if (file.empty()) {
        return result;
    }
    for (const std::string& each : lines_of(file)) {
        const auto line = read_slot_line(each);
        if (!line) {
            throw refusal(usage, fmt::format("{}: \"{}\" is no location number with a name",
                                             printable(file), printable(each)));
        }
        if (!result.emplace(line->location, line->name).second) {
            throw refusal(usage, fmt::format("{}: \"{}\" names a port that a line above names",
                                             printable(file), printable(each)));
        }
    }
    return result;
}

bundle read_named_bundle(const std::string& file) {
    try {
        return read_bundle(path_of(file));
    } catch (const std::exception& error) {
        throw refusal(usage, error.what());
    }
}

run_settings prepare(station_arguments arguments) {
    run_settings settings;
    settings.arguments = std::move(arguments);
    const station_arguments& given = settings.arguments;
    settings.options = given.options;
    settings.slots = read_slots(given.slots_file);
    if (!given.only_file.empty()) {
        settings.options.only = read_only(given.only_file);
    }
    std::error_code error;
    if (!std::filesystem::is_regular_file(path_of(given.tool.program), error)) {
        throw refusal(cannot_work, "there is no tool " + printable(given.tool.program));
    }
    if (!given.options_file.empty() && given.restore_timeout > tools_own_limit) {
        throw refusal(usage, "--restore-timeout is at most 2h with --options: vandrel then keeps "
                             "to its own limit");
    }
    read_means(settings);
    find_room(settings);
    settings.run_folder =
        given.run_folder.empty() ? default_run_folder() : path_of(given.run_folder);
    if (given.what == station_command::recover) {
        // It has no --stop-after, and a device that does not boot is no reason to leave the others.
        settings.options.stop_after = 0;
    }
    if (!given.options_file.empty()) {
        // vandrel refuses a time limit with a file of options.
        settings.options.time_limit = given.restore_timeout;
    } else if (given.what == station_command::restore) {
        // vandrel keeps the limit itself; this is for a process that does not.
        settings.options.time_limit = given.restore_timeout + std::chrono::minutes(2);
    }
    settings.options.terminal =
        is_terminal(standard_stream::in) &&
        is_terminal(given.json ? standard_stream::error : standard_stream::out);
    if (lacks_consent(settings.options)) {
        throw refusal(usage, "an erase without a terminal needs --yes");
    }
    return settings;
}

} // namespace vandrel::station
