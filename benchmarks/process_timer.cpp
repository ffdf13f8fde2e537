/// process_timer RUNS COPIES STREAM PROGRAM [ARGUMENTS...]: runs COPIES of a program at the same
/// time, RUNS times. The STREAM of each (1: standard output, 2: standard error) is a pipe, which is
/// emptied here. Prints one line: the median time in seconds from the first start to the last end,
/// the largest peak memory in bytes, the exit status, and the processor time in seconds that all
/// copies took themselves, without their own children: the largest of the runs. If copies end with
/// different exit statuses, one of these is printed.
///
/// process_timer is small, because a program's peak memory includes that of the process that
/// started it.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ; // NOLINT(readability-redundant-declaration)

namespace {

struct figures {
    double seconds = 0;
    long peak = 0;
    int status = 0;
    double processor_seconds = 0;
};

[[noreturn]] void fail(const char* what, int error) {
    std::fprintf(stderr, "process_timer: %s: %s\n", what, std::strerror(error));
    std::exit(EXIT_FAILURE);
}

struct running_copy {
    pid_t process;
    int pipe;
};

running_copy start(int stream, char** program) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        fail("pipe", errno);
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    const int other = stream == STDOUT_FILENO ? STDERR_FILENO : STDOUT_FILENO;
    posix_spawn_file_actions_addopen(&actions, other, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, ends[1], stream);
    running_copy copy{0, ends[0]};
    if (const int error =
            posix_spawnp(&copy.process, program[0], &actions, nullptr, program, environ)) {
        fail(program[0], error);
    }
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    return copy;
}

/// Returns when all of them have ended or closed their pipes.
void drain(const std::vector<running_copy>& copies) {
    static char piece[1 << 16];
    std::vector<pollfd> open;
    open.reserve(copies.size());
    for (const running_copy& copy : copies) {
        open.push_back({copy.pipe, POLLIN, 0});
    }
    while (!open.empty()) {
        poll(open.data(), open.size(), -1);
        std::erase_if(open, [](const pollfd& end) {
            return end.revents != 0 && read(end.fd, piece, sizeof piece) <= 0;
        });
    }
}

double seconds_of(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

/// The processor time of the children for which a process has waited. Waits for its end, but leaves
/// it to be waited for.
double processor_seconds_of_children(pid_t process) {
    siginfo_t ignored;
    if (waitid(P_PID, static_cast<id_t>(process), &ignored, WEXITED | WNOWAIT) != 0) {
        fail("waitid", errno);
    }
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string field;
    // The name, the second field, is in parentheses and may contain anything.
    std::getline(file, field, ')');
    for (int number = 3; number < 16; ++number) {
        file >> field;
    }
    long user = 0;
    long system = 0;
    if (!(file >> user >> system)) {
        fail("/proc", errno);
    }
    return static_cast<double>(user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

/// A failure outweighs 0; statuses of programs that a signal ended are negative.
int worse_status(int left, int right) {
    return std::abs(left) < std::abs(right) ? right : left;
}

figures run(int count, int stream, char** program) {
    figures result;
    const auto begin = std::chrono::steady_clock::now();
    std::vector<running_copy> copies;
    copies.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        copies.push_back(start(stream, program));
    }
    drain(copies);
    for (const running_copy& copy : copies) {
        const double of_children = processor_seconds_of_children(copy.process);
        int status = 0;
        rusage usage{};
        wait4(copy.process, &status, 0, &usage);
        result.processor_seconds +=
            seconds_of(usage.ru_utime) + seconds_of(usage.ru_stime) - of_children;
        close(copy.pipe);
        const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
        result.status = worse_status(result.status, code);
        result.peak = std::max(result.peak, usage.ru_maxrss * 1024);
    }
    result.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return result;
}

} // namespace

int main(int argument_count, char** arguments) {
    if (argument_count < 5) {
        std::fputs("process_timer RUNS COPIES STREAM PROGRAM [ARGUMENTS...]\n", stderr);
        return EXIT_FAILURE;
    }
    std::vector<double> seconds;
    figures all;
    for (int i = 0; i < std::atoi(arguments[1]); ++i) {
        const figures one = run(std::atoi(arguments[2]), std::atoi(arguments[3]), arguments + 4);
        seconds.push_back(one.seconds);
        all.peak = std::max(all.peak, one.peak);
        all.status = worse_status(all.status, one.status);
        all.processor_seconds = std::max(all.processor_seconds, one.processor_seconds);
    }
    std::ranges::sort(seconds);
    std::printf("%.9f %ld %d %.3f\n", seconds.at(seconds.size() / 2), all.peak, all.status,
                all.processor_seconds);
}
