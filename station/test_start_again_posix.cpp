#include "station/test_start_again.h"

#include <spawn.h>
#include <unistd.h>

namespace vandrel {

void start_again(const std::vector<std::string>& arguments) {
    std::vector<std::string> texts = arguments;
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    pid_t process = 0;
    posix_spawn(&process, "/proc/self/exe", nullptr, nullptr, pointers.data(), environ);
}

} // namespace vandrel
