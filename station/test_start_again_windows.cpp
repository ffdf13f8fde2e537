#include "station/test_start_again.h"

#include <windows.h>

namespace vandrel {

void start_again(const std::vector<std::string>& arguments) {
    // What this process was given stands in its command line, quoted already.
    std::wstring line = GetCommandLineW();
    for (std::size_t i = static_cast<std::size_t>(__argc); i < arguments.size(); ++i) {
        line += L' ' + std::wstring(arguments[i].begin(), arguments[i].end());
    }
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                       &process)) {
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
}

} // namespace vandrel
