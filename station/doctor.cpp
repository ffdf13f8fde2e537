#include "station/doctor.h"

#include "station/table.h"
#include "station/text.h"
#include "station/within_limit.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <utility>

namespace vandrel::station {

namespace {

using clock = std::chrono::system_clock;
using findings = std::vector<finding>;

/// What one restore is expected to need when no bundle says.
constexpr std::uint64_t usual_room = 20'000'000'000;
/// A younger folder can be that of a restore under way.
constexpr auto least_age = std::chrono::hours(24);
/// Times of files and processes are not equally exact.
constexpr auto inexact = std::chrono::minutes(1);

std::string shown(const std::filesystem::path& path) {
    return printable(text_of(path));
}

std::string shown(const versioned_file& file) {
    return shown(file.path) + (file.version.empty() ? std::string(", which has no version")
                                                    : ", version " + printable(file.version));
}

finding check_program(const tool_answer& answer, const std::string& own_version) {
    const versioned_file& program = answer.program;
    if (answer.how == tool_answer::outcome::not_started) {
        return {
            "tool",
            health::problem,
            fmt::format("{} cannot be started: {}", shown(program.path), printable(answer.text)),
            "Unpack vandrel again, or name the tool with --tool.",
            {}};
    }
    // A file's version has four numbers.
    if (!program.version.empty() && program.version != own_version + ".0") {
        return {"tool",
                health::warning,
                fmt::format("{}, and the station has version {}", shown(program), own_version),
                "Use the tool and the station of one release.",
                {}};
    }
    return {"tool", health::ok, shown(program), "", {}};
}

std::string advice_for(const std::string& sentence) {
    return sentence.find("Apple") != std::string::npos
               ? "Install or update the Apple Devices app or iTunes, in their 64-bit form."
               : "Unpack vandrel again, or name the tool with --tool.";
}

finding check_libraries(const tool_answer& answer) {
    switch (answer.how) {
    case tool_answer::outcome::not_started:
        return {"libraries", health::problem, "not known: the tool cannot be started", "", {}};
    case tool_answer::outcome::timed_out:
        return {"libraries",
                health::problem,
                "the tool gave no list of devices in time",
                "Restart the Apple Mobile Device Service, or the computer.",
                {}};
    case tool_answer::outcome::no_list:
        return {"libraries",
                health::problem,
                answer.text.empty()
                    ? fmt::format("the tool gave no list of devices, and ended with status {}",
                                  answer.exit_status)
                    : "the tool says: " + printable(answer.text),
                advice_for(answer.text),
                {}};
    case tool_answer::outcome::listed:
        break;
    }
    if (answer.libraries.empty()) {
        return {"libraries",
                health::warning,
                "the tool lists devices, but none of Apple's libraries was seen in its process",
                "If its devices are not meant to be simulated, name another tool with --tool.",
                {}};
    }
    finding result{"libraries", health::ok, "all functions that the tool needs are there", "", {}};
    for (const versioned_file& each : answer.libraries) {
        result.details.push_back(shown(each));
    }
    return result;
}

bool is_in_dfu_or_recovery(const usb_device& device) {
    constexpr std::uint16_t dfu = 0x1227;
    constexpr std::uint16_t first_recovery = 0x1280;
    constexpr std::uint16_t last_recovery = 0x1283;
    return device.product == dfu ||
           (device.product >= first_recovery && device.product <= last_recovery);
}

/// Devices in the restore operating system have other product numbers, and the tool lists them,
/// too. So only a number of devices that is larger than that of the list is certain to be wrong.
finding check_usb(const std::optional<std::vector<usb_device>>& seen, const tool_answer& answer) {
    if (!seen) {
        return {"usb", health::ok, "not known: this system does not list USB devices", "", {}};
    }
    finding result{"usb", health::ok, "", "", {}};
    std::size_t count = 0;
    for (const usb_device& each : *seen) {
        const bool counts = is_in_dfu_or_recovery(each);
        count += counts ? 1 : 0;
        result.details.push_back(fmt::format("05AC:{:04X} {}{}", each.product, printable(each.name),
                                             counts ? " (DFU or Recovery mode)"
                                                    : " (another mode, or no device to restore)"));
    }
    result.found =
        fmt::format("the system sees {} in DFU or Recovery mode", number_of(count, "device"));
    if (answer.how != tool_answer::outcome::listed) {
        result.found += "; the tool has no list to compare with";
        return result;
    }
    result.found += fmt::format(", the tool lists {}", number_of(answer.devices, "device"));
    if (count > answer.devices) {
        result.level = health::warning;
        result.found += fmt::format(": at least {} {} missing", count - answer.devices,
                                    count - answer.devices == 1 ? "is" : "are");
        result.advice = "Close iTunes and Apple Devices, look in the Device Manager whether the "
                        "device has Apple's driver, and plug it in anew.";
    }
    return result;
}

finding check_room(const scratch_room& room, const std::optional<bundle_room>& bundles) {
    const bool is_exact = bundles && bundles->largest > 0;
    const std::uint64_t needed = is_exact ? bundles->largest : usual_room;
    finding result{"room",
                   health::ok,
                   fmt::format("{} has {} free, and {} {}", shown(room.folder),
                               size_text(room.free),
                               is_exact ? "a restore of the largest bundle needs"
                                        : "a restore is assumed to need",
                               size_text(needed)),
                   "",
                   {}};
    if (room.free < needed) {
        // Without bundles it is a guess.
        result.level = is_exact ? health::problem : health::warning;
        result.advice = "Make room, or give a folder with more room, with --scratch.";
    }
    return result;
}

finding check_bundles(const bundle_room& bundles) {
    finding result{
        "bundles",
        health::ok,
        fmt::format("the folder has {} that can be used", number_of(bundles.usable, "bundle")),
        "",
        {}};
    const auto add = [&result](health level, const std::string& found, const std::string& advice) {
        result.level = std::max(result.level, level);
        result.found += found;
        result.advice += (result.advice.empty() ? "" : " ") + advice;
    };
    if (bundles.unusable > 0) {
        add(health::warning,
            fmt::format(", and {} that cannot", number_of(bundles.unusable, "file")),
            "The command \"bundles\" says why.");
    }
    if (bundles.usable == 0) {
        result.level = health::problem;
    }
    if (bundles.is_on_network) {
        add(health::warning, "; it is on a network drive",
            "Copy the bundles to a disk of this computer, so that no restore depends on the "
            "network.");
    }
    return result;
}

finding check_sleep(const std::optional<std::chrono::minutes>& after) {
    if (!after) {
        return {
            "sleep", health::ok, "not applicable: only Windows' settings are looked at", "", {}};
    }
    if (after->count() == 0) {
        return {"sleep",
                health::ok,
                "on mains power the computer does not go to sleep by itself",
                "",
                {}};
    }
    return {"sleep",
            health::warning,
            fmt::format("on mains power the computer goes to sleep after {} without input",
                        number_of(static_cast<std::size_t>(after->count()), "minute")),
            "Set Windows not to sleep while devices are restored. The station keeps the computer "
            "awake only while it works on devices.",
            {}};
}

finding check_restart(const std::vector<std::string>& reasons) {
    if (reasons.empty()) {
        return {"restart", health::ok, "no restart of the computer is pending", "", {}};
    }
    return {"restart",
            health::warning,
            "a restart of the computer is pending: " + enumerated(reasons),
            "Restart the computer before a long run.",
            {}};
}

bool can_be_of(const left_folder& folder, const running_tool& tool) {
    return !tool.started || *tool.started <= folder.changed + inexact;
}

/// Why the folder is not certain to be left by a tool that is gone; empty when it is.
std::string reason_to_stay(const left_folder& folder, const std::vector<running_tool>& tools,
                           clock::time_point now) {
    if (!folder.problem.empty()) {
        return "not all of it can be looked at: " + printable(folder.problem);
    }
    if (folder.has_link) {
        return "it is a link, or has one in it";
    }
    if (!folder.is_own) {
        return "it is another user's, or has something of another user in it";
    }
    if (now - folder.changed < least_age) {
        return "it was changed less than a day ago";
    }
    for (const running_tool& each : tools) {
        if (can_be_of(folder, each)) {
            return fmt::format("it can be that of process {} ({}), which runs", each.number,
                               printable(each.name));
        }
    }
    return folder.is_open ? "a program has something in it open" : "";
}

finding check_left(doctor_host& host, bool clean) {
    const std::vector<left_folder> folders = host.left_folders();
    const std::string where = shown(host.temporary_folder());
    if (folders.empty()) {
        return {"leftovers", health::ok, "no tool has left a scratch folder in " + where, "", {}};
    }
    finding result{"leftovers", health::ok, "", "", {}};
    const std::vector<running_tool> tools = host.running_tools();
    std::size_t left = 0;
    std::size_t removed = 0;
    std::uint64_t size = 0;
    for (const left_folder& each : folders) {
        std::string what = reason_to_stay(each, tools, host.now());
        if (!what.empty()) {
            what.insert(0, "stays: ");
        } else if (!clean) {
            ++left;
            size += each.size;
            what = "left by a tool that is gone";
        } else {
            try {
                host.remove(each.path);
                ++removed;
                what = "removed";
            } catch (const std::exception& error) {
                ++left;
                size += each.size;
                what = "cannot be removed: " + printable(error.what());
            }
        }
        result.details.push_back(
            fmt::format("{}, {}: {}", shown(each.path.filename()), size_text(each.size), what));
    }
    result.found =
        fmt::format("{} of tools in {}", number_of(folders.size(), "scratch folder"), where);
    if (clean) {
        result.found += fmt::format(", {} removed", removed);
    }
    if (left > 0) {
        result.level = health::warning;
        result.found += fmt::format(", {} left by tools that are gone, {}", left, size_text(size));
        result.advice = clean ? "Close the programs that use them, and run this again."
                              : "doctor --clean removes what is left by tools that are gone.";
    }
    return result;
}

findings guarded(const std::string& name, health without_answer,
                 const std::function<findings()>& check) {
    try {
        return check();
    } catch (const std::exception& error) {
        return {{name, without_answer, "not known: " + printable(error.what()), "", {}}};
    }
}

class examination {
public:
    examination(std::shared_ptr<doctor_host> host, doctor_options options)
        : host_(std::move(host)), options_(std::move(options)) {}

    /// Adds what the check says, or that it said nothing in time. Returns whether it said
    /// something.
    bool run(const std::string& name, health without_answer, std::function<findings()> check) {
        auto said = within_limit<findings>(options_.limit,
                                           [name, without_answer, check = std::move(check)] {
                                               return guarded(name, without_answer, check);
                                           });
        if (!said) {
            result_.is_incomplete = true;
            result_.findings.push_back({name,
                                        health::problem,
                                        "the check has no answer in time",
                                        "Look whether a disk or a network drive hangs.",
                                        {}});
            return false;
        }
        std::ranges::move(*said, std::back_inserter(result_.findings));
        return true;
    }

    diagnosis all() {
        // Checks that are given up still run after this object.
        const auto host = host_;
        run("tool", health::problem, [host, version = options_.version]() -> findings {
            const tool_answer answer = host->ask_tool();
            findings result{check_program(answer, version), check_libraries(answer)};
            std::ranges::move(
                guarded("usb", health::warning,
                        [&]() -> findings { return {check_usb(host->apple_devices(), answer)}; }),
                std::back_inserter(result));
            return result;
        });
        std::optional<bundle_room> known;
        if (options_.has_bundles) {
            const auto found = std::make_shared<std::optional<bundle_room>>();
            const bool has_answer = run("bundles", health::problem, [host, found]() -> findings {
                *found = host->bundles();
                return {check_bundles(**found)};
            });
            known = has_answer ? *found : std::nullopt;
        }
        run("room", health::problem,
            [host, known]() -> findings { return {check_room(host->room(), known)}; });
        run("sleep", health::warning,
            [host]() -> findings { return {check_sleep(host->sleeps_after())}; });
        run("restart", health::warning,
            [host]() -> findings { return {check_restart(host->pending_restart())}; });
        run("leftovers", health::warning,
            [host, clean = options_.clean]() -> findings { return {check_left(*host, clean)}; });
        return std::move(result_);
    }

private:
    std::shared_ptr<doctor_host> host_;
    doctor_options options_;
    diagnosis result_;
};

} // namespace

diagnosis examine(const std::shared_ptr<doctor_host>& host, const doctor_options& options) {
    return examination(host, options).all();
}

std::string name_of(health level) {
    switch (level) {
    case health::ok:
        return "ok";
    case health::warning:
        return "warning";
    case health::problem:
        break;
    }
    return "problem";
}

health worst(const std::vector<finding>& findings) {
    health result = health::ok;
    for (const finding& each : findings) {
        result = std::max(result, each.level);
    }
    return result;
}

} // namespace vandrel::station
