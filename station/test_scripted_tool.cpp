#include "launcher/launch.h"
#include "platform/native_pipe.h"
#include "station/test_start_again.h"
#include "station/test_tool_host.h"

#include <boost/asio/io_context.hpp>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

// A tool for tests of the station: it takes vandrel's command line after the name of a folder, and
// does what that folder's files say. `list` is the list of devices, ECID.info the properties of
// one, ECID.restore a script of what a restore does, one step a line. The Nth list plays the script
// list.N if it is there, else list.script if that is there; only without both is `list` written.
// ECID.looked is a script for after the properties. Each start of a restore is a line in `journal`,
// each start of a list a line in `lists`. ECID.starts has what each restore of the device was
// given: lines of a word and a value, and an empty line after each restore. All commands but
// --list-devices and --device-info count as restores.

namespace vandrel {

namespace {

constexpr int misused = 125;

struct call {
    std::filesystem::path folder;
    std::string command;
    std::string ecid;
    long long pipe = -1;
    /// Does nothing but keep the pipe open until this file is there.
    std::string held_until;
    std::vector<std::string> arguments;
};

call read_call(int count, const char* const* texts) {
    call result;
    result.arguments.assign(texts, texts + count);
    const std::string folder = texts[1];
    result.folder = std::u8string(folder.begin(), folder.end());
    for (int i = 2; i < count; ++i) {
        const std::string text = texts[i];
        if (text == "--ecid" && i + 1 < count) {
            result.ecid = texts[++i];
        } else if (text == "--output-pipe" && i + 1 < count) {
            result.pipe = std::atoll(texts[++i]);
        } else if (text == "--held-until" && i + 1 < count) {
            result.held_until = texts[++i];
        } else if (result.command.empty()) {
            result.command = text;
        }
    }
    return result;
}

std::string content_of(const std::filesystem::path& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

void sleep(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

/// Waits for a file, but no longer than its folder is there.
void await_file(const std::filesystem::path& path) {
    while (!std::filesystem::exists(path) && std::filesystem::exists(path.parent_path())) {
        sleep(5);
    }
}

std::string next_word(std::istream& script) {
    std::string word;
    script >> word;
    return word;
}

/// The platform's own log, which a restore is told to write; empty when it is not told.
std::filesystem::path log_file(const call& what) {
    const auto name = std::ranges::find(what.arguments, "--amr-logfile");
    if (name == what.arguments.end() || name + 1 == what.arguments.end()) {
        return {};
    }
    return std::u8string(name[1].begin(), name[1].end());
}

/// Starts a child that keeps the pipe open until the file is there.
void leave_child(const call& what, const std::string& until) {
    std::vector<std::string> arguments = what.arguments;
    arguments.insert(arguments.end(), {"--held-until", until});
    start_again(arguments);
}

/// Does what the script says. Returns the exit status, which is 0 without a step `exit`.
int play(const call& what, const std::string& script_name, native_pipe& pipe) {
    std::istringstream script(content_of(what.folder / script_name));
    std::string step;
    while (script >> step) {
        if (step == "write") {
            pipe.write(content_of(what.folder / next_word(script)));
        } else if (step == "sleep" || step == "exit") {
            int number = 0;
            script >> number;
            if (step == "exit") {
                return number;
            }
            sleep(number);
        } else if (step == "await") {
            await_file(what.folder / next_word(script));
        } else if (step == "rename") {
            const std::filesystem::path from = what.folder / next_word(script);
            std::filesystem::rename(from, what.folder / next_word(script));
        } else if (step == "log") {
            std::ofstream(log_file(what), std::ios::binary | std::ios::app)
                << content_of(what.folder / next_word(script));
        } else if (step == "leave_child") {
            leave_child(what, next_word(script));
        } else if (step == "hang") {
            sleep(600'000);
        } else if (step == "abort") {
            std::abort();
        }
    }
    return 0;
}

void note(const call& what, const char* in) {
    append_line(what.folder / in, what.command + ' ' + what.ecid);
}

void note_start(const call& what) {
    const std::vector<std::string> handles = open_handles();
    std::ofstream file(what.folder / (what.ecid + ".starts"), std::ios::app);
    for (const std::string& each : what.arguments) {
        file << "argument " + each + '\n';
    }
    for (const char* name : {"TEMP", "TMP", "TMPDIR"}) {
        file << std::string(name) + ' ' + environment_variable(name) + '\n';
    }
    for (const std::string& each : handles) {
        file << "handle " + each + '\n';
    }
    file << '\n';
}

int give_list(const call& what, native_pipe& pipe) {
    note(what, "lists");
    const auto number = std::ranges::count(content_of(what.folder / "lists"), '\n');
    for (const std::string& script :
         {"list." + std::to_string(number), std::string("list.script")}) {
        if (std::filesystem::exists(what.folder / script)) {
            return play(what, script, pipe);
        }
    }
    pipe.write(content_of(what.folder / "list"));
    return 0;
}

} // namespace

int launch(int argument_count, const char* const* arguments) {
    if (argument_count < 3) {
        return misused;
    }
    const call what = read_call(argument_count, arguments);
    if (!what.held_until.empty()) {
        await_file(what.folder / what.held_until);
        return 0;
    }
    const bool only_looks = what.command == "--list-devices" || what.command == "--device-info";
    if (!only_looks) {
        // Before the loop is made, which has descriptors of its own.
        note_start(what);
        note(what, "journal");
    }
    boost::asio::io_context context;
    native_pipe pipe(context, what.pipe);
    if (what.command == "--list-devices") {
        return give_list(what, pipe);
    }
    if (what.command == "--device-info") {
        pipe.write(content_of(what.folder / (what.ecid + ".info")));
        return play(what, what.ecid + ".looked", pipe);
    }
    return play(what, what.ecid + ".restore", pipe);
}

} // namespace vandrel
