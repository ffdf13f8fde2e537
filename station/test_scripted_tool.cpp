#include "launcher/launch.h"
#include "platform/native_pipe.h"

#include <boost/asio/io_context.hpp>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

// A tool for tests of the station: it takes vandrel's command line behind the name of a folder, and
// does what that folder's files say. `list` is the list of devices, ECID.info the properties of
// one, ECID.restore a script of what a restore does, one step a line. Each start of a restore is a
// line in `journal`.

namespace vandrel {

namespace {

constexpr int misused = 125;

struct call {
    std::filesystem::path folder;
    std::string command;
    std::string ecid;
    long long pipe = -1;
};

call read_call(int count, const char* const* texts) {
    call result;
    const std::string folder = texts[1];
    result.folder = std::u8string(folder.begin(), folder.end());
    for (int i = 2; i < count; ++i) {
        const std::string text = texts[i];
        if (text == "--ecid" && i + 1 < count) {
            result.ecid = texts[++i];
        } else if (text == "--output-pipe" && i + 1 < count) {
            result.pipe = std::atoll(texts[++i]);
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

/// The exit status, once the script ends the process.
int play(const call& what, native_pipe& pipe) {
    std::istringstream script(content_of(what.folder / (what.ecid + ".restore")));
    std::string step;
    while (script >> step) {
        if (step == "write") {
            std::string name;
            script >> name;
            pipe.write(content_of(what.folder / name));
        } else if (step == "sleep" || step == "exit") {
            int number = 0;
            script >> number;
            if (step == "exit") {
                return number;
            }
            sleep(number);
        } else if (step == "hang") {
            sleep(600'000);
        } else if (step == "abort") {
            std::abort();
        }
    }
    return 0;
}

void note(const call& what) {
    std::ofstream(what.folder / "journal", std::ios::app)
        << what.command << ' ' << what.ecid << std::endl;
}

} // namespace

int launch(int argument_count, const char* const* arguments) {
    if (argument_count < 3) {
        return misused;
    }
    const call what = read_call(argument_count, arguments);
    boost::asio::io_context context;
    native_pipe pipe(context, what.pipe);
    if (what.command == "--list-devices") {
        pipe.write(content_of(what.folder / "list"));
        return 0;
    }
    if (what.command == "--device-info") {
        pipe.write(content_of(what.folder / (what.ecid + ".info")));
        return 0;
    }
    note(what);
    return play(what, pipe);
}

} // namespace vandrel
