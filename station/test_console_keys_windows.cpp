#include "launcher/launch.h"

#include <iostream>
#include <string>
#include <thread>

#include <windows.h>

// For tests of the station: starts a program in a console of its own, and does there what lines on
// standard input say: `ctrl-c`, `end-session`, `kill`. The program writes to our standard output
// and standard error. Ends with its exit status. Wine knows no way to press Ctrl-Break.

namespace vandrel {

namespace {

constexpr int misused = 125;

std::wstring to_wide(const std::string& text) {
    const int size = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0');
    wide.resize(static_cast<std::size_t>(
        MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), size)));
    return wide;
}

/// Its arguments contain no quotation marks, and no backslash at their ends.
PROCESS_INFORMATION start(int count, const char* const* words) {
    std::wstring line;
    for (int i = 0; i < count; ++i) {
        line += L"\"" + to_wide(words[i]) + L"\" ";
    }
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    for (HANDLE each : {startup.hStdOutput, startup.hStdError}) {
        SetHandleInformation(each, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    }
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_NEW_CONSOLE, nullptr,
                        nullptr, &startup, &process)) {
        std::cerr << "CreateProcessW: " << GetLastError() << std::endl;
        ExitProcess(misused);
    }
    return process;
}

BOOL WINAPI ignore_keys(DWORD) {
    return TRUE;
}

void press_ctrl_c(DWORD process) {
    // A process has one console at a time.
    FreeConsole();
    if (!AttachConsole(process) || !SetConsoleCtrlHandler(ignore_keys, TRUE) ||
        !GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0)) {
        std::cerr << "no key was pressed: " << GetLastError() << std::endl;
    }
}

BOOL CALLBACK send_end_of_session(HWND window, LPARAM process) {
    DWORD owner = 0;
    GetWindowThreadProcessId(window, &owner);
    if (owner == static_cast<DWORD>(process) &&
        SendMessageW(window, WM_QUERYENDSESSION, 0, 0) != FALSE) {
        // It answers by ending.
        SendNotifyMessageW(window, WM_ENDSESSION, TRUE, 0);
    }
    return TRUE;
}

void obey(const PROCESS_INFORMATION& process) {
    for (std::string line; std::getline(std::cin, line);) {
        if (line == "ctrl-c") {
            press_ctrl_c(process.dwProcessId);
        } else if (line == "end-session") {
            // As the system does it, but to this program's windows only.
            EnumWindows(send_end_of_session, static_cast<LPARAM>(process.dwProcessId));
        } else if (line == "kill") {
            TerminateProcess(process.hProcess, 1);
        }
    }
}

} // namespace

int launch(int argument_count, const char* const* arguments) {
    if (argument_count < 2) {
        return misused;
    }
    const PROCESS_INFORMATION process = start(argument_count - 1, arguments + 1);
    std::thread(obey, process).detach();
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD status = 0;
    GetExitCodeProcess(process.hProcess, &status);
    // The other thread waits for a line.
    ExitProcess(status);
}

} // namespace vandrel
