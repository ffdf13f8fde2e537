#include "station/test_inherited.h"

#include <cstdlib>
#include <filesystem>

namespace vandrel {

std::string environment_variable(const std::string& name) {
    const char* value = std::getenv(name.c_str());
    return value == nullptr ? "" : value;
}

std::vector<std::string> open_handles() {
    std::vector<std::string> result;
    for (const auto& each : std::filesystem::directory_iterator("/proc/self/fd")) {
        const std::string target = std::filesystem::read_symlink(each.path()).string();
        // Not the one that reads this folder.
        if (!target.starts_with("/proc/")) {
            result.push_back(each.path().filename().string() + ' ' + target);
        }
    }
    return result;
}

} // namespace vandrel
