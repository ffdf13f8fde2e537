#include "station/test_tool_host.h"

#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

namespace vandrel {

std::string environment_variable(const std::string& name) {
    const char* value = std::getenv(name.c_str());
    return value == nullptr ? "" : value;
}

std::vector<std::string> open_handles() {
    std::vector<std::string> result;
    for (const auto& each : std::filesystem::directory_iterator("/proc/self/fd")) {
        const std::string target = std::filesystem::read_symlink(each.path()).string();
        // Not the descriptor that reads this folder.
        if (!target.starts_with("/proc/")) {
            result.push_back(each.path().filename().string() + ' ' + target);
        }
    }
    return result;
}

void append_line(const std::filesystem::path& file, const std::string& line) {
    const std::string text = line + '\n';
    const int opened = open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (opened < 0 || write(opened, text.data(), text.size()) < 0) {
        std::abort();
    }
    close(opened);
}

} // namespace vandrel
