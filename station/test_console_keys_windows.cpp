#include "launcher/launch.h"
#include "station/test_handle_count_windows.h"
#include "station/test_tool_host.h"

#include <array>
#include <iostream>
#include <string>
#include <thread>

#include <windows.h>

// For tests of the station: starts a program in a console of its own, and does to it what lines on
// standard input say: `ctrl-c`, `ctrl-break`, `end-session`, `kill`. `count-handles FILE` adds to
// this file a line with the number of handles that the program has. The program writes to the
// standard output and the standard error of this process, which ends with the program's exit
// status.

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

/// The words contain no quotation marks, and no backslash at their ends.
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

/// A process has one console at a time.
bool enter_console_of(DWORD process) {
    FreeConsole();
    return AttachConsole(process) && SetConsoleCtrlHandler(ignore_keys, TRUE);
}

void press_ctrl_c(DWORD process) {
    if (!enter_console_of(process) || !GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0)) {
        std::cerr << "no key was pressed: " << GetLastError() << std::endl;
    }
}

/// Windows runs this function in a new thread of each process of a console in which a key is
/// pressed. It calls the process's handlers, and ends the process if they do not handle the key.
LPTHREAD_START_ROUTINE control_routine() {
    return reinterpret_cast<LPTHREAD_START_ROUTINE>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernelbase"), "CtrlRoutine")));
}

/// Wine's console does not send Ctrl-Break, so this does what the console would do.
void press_ctrl_break(DWORD process) {
    std::array<DWORD, 64> attached{};
    if (!enter_console_of(process)) {
        std::cerr << "no key was pressed: " << GetLastError() << std::endl;
        return;
    }
    const DWORD count = GetConsoleProcessList(attached.data(), attached.size());
    for (DWORD i = 0; i < count; ++i) {
        if (attached.at(i) == GetCurrentProcessId()) {
            continue;
        }
        HANDLE each = OpenProcess(PROCESS_ALL_ACCESS, FALSE, attached.at(i));
        HANDLE thread = CreateRemoteThread(each, nullptr, 0, control_routine(),
                                           ULongToPtr(CTRL_BREAK_EVENT), 0, nullptr);
        if (thread == nullptr) {
            std::cerr << "no key was pressed: " << GetLastError() << std::endl;
        }
        CloseHandle(thread);
        CloseHandle(each);
    }
}

BOOL CALLBACK send_end_of_session(HWND window, LPARAM process) {
    DWORD owner = 0;
    GetWindowThreadProcessId(window, &owner);
    if (owner == static_cast<DWORD>(process) &&
        SendMessageW(window, WM_QUERYENDSESSION, 0, 0) != FALSE) {
        // Not waited for: the program answers by ending.
        SendNotifyMessageW(window, WM_ENDSESSION, TRUE, 0);
    }
    return TRUE;
}

void obey(const PROCESS_INFORMATION& process) {
    const std::string counting = "count-handles ";
    for (std::string line; std::getline(std::cin, line);) {
        if (line == "ctrl-c") {
            press_ctrl_c(process.dwProcessId);
        } else if (line == "ctrl-break") {
            press_ctrl_break(process.dwProcessId);
        } else if (line.starts_with(counting)) {
            append_line(to_wide(line.substr(counting.size())),
                        std::to_string(count_handles(process.hProcess)));
        } else if (line == "end-session") {
            // As the system does it, but to the windows of the started program only.
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
    // At once, although the other thread waits for a line.
    ExitProcess(status);
}

} // namespace vandrel
