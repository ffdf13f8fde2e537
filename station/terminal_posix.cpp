#include "station/host.h"
#include "station/terminal.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace vandrel::station::terminal {

namespace {

enum class stage { untouched, entered, left };

constexpr auto deadly_signals =
    std::to_array<int>({SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGQUIT, SIGSEGV});

// Global, because a handler of signals reaches nothing else.
std::atomic<stage> now_in = stage::untouched;
termios found_modes;
std::array<struct sigaction, deadly_signals.size()> found_actions;

void change_modes(const termios& modes) {
    // Without SIGTTOU, which would stop a process in the background.
    sigset_t only;
    sigset_t before;
    sigemptyset(&only);
    sigaddset(&only, SIGTTOU);
    pthread_sigmask(SIG_BLOCK, &only, &before);
    tcsetattr(STDOUT_FILENO, TCSANOW, &modes);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

/// False when there is nothing to put back.
bool put_modes_back() {
    if (now_in.exchange(stage::left) != stage::entered) {
        return false;
    }
    change_modes(found_modes);
    // What was typed does not become a command of the shell.
    tcflush(STDOUT_FILENO, TCIFLUSH);
    return true;
}

/// Ends the process as it would have ended without the handler.
void put_back_and_die(int signal) {
    leave_at_once();
    for (std::size_t i = 0; i < deadly_signals.size(); ++i) {
        if (deadly_signals[i] == signal) {
            sigaction(signal, &found_actions[i], nullptr);
        }
    }
    raise(signal);
}

} // namespace

bool can_be_drawn_on() {
    if (!is_terminal(standard_stream::out)) {
        return false;
    }
    const char* kind = std::getenv("TERM");
    if (kind == nullptr || *kind == '\0' || std::strcmp(kind, "dumb") == 0) {
        return false;
    }
    // A job in the background does not take the screen. Without job control there is no background.
    const pid_t in_front = tcgetpgrp(STDOUT_FILENO);
    return in_front < 0 || in_front == getpgrp();
}

screen_size size() {
    winsize found{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &found) != 0 || found.ws_col == 0 || found.ws_row == 0) {
        return {};
    }
    return {found.ws_col, found.ws_row};
}

void enter() {
    tcgetattr(STDOUT_FILENO, &found_modes);
    stage expected = stage::untouched;
    if (!now_in.compare_exchange_strong(expected, stage::entered)) {
        return;
    }
    for (std::size_t i = 0; i < deadly_signals.size(); ++i) {
        struct sigaction action {};
        action.sa_handler = put_back_and_die;
        sigaction(deadly_signals[i], &action, &found_actions[i]);
    }
    termios modes = found_modes;
    // What is typed does not show.
    modes.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    // Ctrl-Z would stop this process. Nobody would read from the tools, and restores would stop.
    modes.c_cc[VSUSP] = _POSIX_VDISABLE;
    change_modes(modes);
    write(entering);
}

void leave() {
    if (put_modes_back()) {
        write(leaving);
    }
}

void leave_at_once() {
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    if (put_modes_back() && poll(&output, 1, 0) == 1 && (output.revents & POLLOUT) != 0) {
        write(leaving);
    }
}

void write(std::string_view bytes) {
    write_all(standard_stream::out, bytes);
}

} // namespace vandrel::station::terminal
