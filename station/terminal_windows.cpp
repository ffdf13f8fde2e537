#include "station/terminal.h"

#include <atomic>
#include <csignal>

#include <windows.h>

namespace vandrel::station::terminal {

namespace {

enum class stage { untouched, entered, left };

struct console_settings {
    DWORD output_mode = 0;
    DWORD input_mode = 0;
    UINT code_page = 0;
};

// Global, because what is called in a crash reaches nothing else.
std::atomic<stage> now_in = stage::untouched;
console_settings found;

HANDLE output() {
    return GetStdHandle(STD_OUTPUT_HANDLE);
}

/// Of the console, whatever standard input is.
HANDLE input() {
    static HANDLE const console =
        CreateFileW(L"CONIN$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_EXISTING, 0, nullptr);
    return console;
}

DWORD drawing_mode(DWORD mode) {
    return mode | ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING;
}

void put_back_after_abort(int) {
    leave_at_once();
}

LONG WINAPI put_back_after_exception(EXCEPTION_POINTERS*) {
    leave_at_once();
    return EXCEPTION_CONTINUE_SEARCH;
}

} // namespace

bool can_be_drawn_on() {
    DWORD mode = 0;
    if (!GetConsoleMode(output(), &mode) || !SetConsoleMode(output(), drawing_mode(mode))) {
        return false;
    }
    SetConsoleMode(output(), mode);
    return true;
}

screen_size size() {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(output(), &info)) {
        return {};
    }
    const SMALL_RECT& window = info.srWindow;
    return {static_cast<std::size_t>(window.Right - window.Left + 1),
            static_cast<std::size_t>(window.Bottom - window.Top + 1)};
}

void enter() {
    GetConsoleMode(output(), &found.output_mode);
    GetConsoleMode(input(), &found.input_mode);
    found.code_page = GetConsoleOutputCP();
    stage expected = stage::untouched;
    if (!now_in.compare_exchange_strong(expected, stage::entered)) {
        return;
    }
    std::signal(SIGABRT, put_back_after_abort);
    SetUnhandledExceptionFilter(put_back_after_exception);
    SetConsoleMode(output(), drawing_mode(found.output_mode));
    // A click into the window would stop all output until a key is pressed.
    SetConsoleMode(input(), (found.input_mode | ENABLE_EXTENDED_FLAGS) &
                                ~static_cast<DWORD>(ENABLE_QUICK_EDIT_MODE));
    SetConsoleOutputCP(CP_UTF8);
    write(entering);
}

void leave() {
    if (now_in.exchange(stage::left) != stage::entered) {
        return;
    }
    write(leaving);
    SetConsoleOutputCP(found.code_page);
    SetConsoleMode(input(), found.input_mode);
    SetConsoleMode(output(), found.output_mode);
    // What was typed does not become a command of the shell.
    FlushConsoleInputBuffer(input());
}

void leave_at_once() {
    // A console always takes what is written.
    leave();
}

void write(std::string_view bytes) {
    while (!bytes.empty()) {
        DWORD count = 0;
        if (!WriteFile(output(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr)) {
            return;
        }
        bytes.remove_prefix(count);
    }
}

} // namespace vandrel::station::terminal
