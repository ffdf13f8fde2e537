#include "tests/program.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vandrel::testing {

namespace {

using std::chrono::steady_clock;

class descriptor {
public:
    explicit descriptor(int number = -1) : number_(number) {}
    descriptor(descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    descriptor& operator=(descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~descriptor() { close(); }
    int number() const { return number_; }
    void close() {
        if (number_ >= 0) {
            ::close(std::exchange(number_, -1));
        }
    }

private:
    int number_;
};

void check(int error, const char* what) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), what);
    }
}

/// A pipe from the program to the test.
struct stream {
    descriptor reader;
    descriptor writer;
    std::string text;

    stream() {
        std::array<int, 2> ends{};
        check(pipe2(ends.data(), O_CLOEXEC) == 0 ? 0 : errno, "pipe2");
        reader = descriptor(ends[0]);
        writer = descriptor(ends[1]);
    }

    void read_some() {
        std::array<char, 65536> buffer{};
        const ssize_t count = read(reader.number(), buffer.data(), buffer.size());
        if (count > 0) {
            text.append(buffer.data(), static_cast<std::size_t>(count));
        } else {
            reader.close();
        }
    }
};

std::vector<std::string> environment_with(const std::map<std::string, std::string>& additions) {
    std::vector<std::string> result;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string text = *variable;
        if (!additions.contains(text.substr(0, text.find('=')))) {
            result.push_back(text);
        }
    }
    for (const auto& [name, value] : additions) {
        result.push_back(std::string(name).append("=").append(value));
    }
    return result;
}

std::vector<char*> pointers_to(std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

pid_t spawn(const program_call& call, const stream& output, const stream& error,
            const stream& pipe) {
    posix_spawn_file_actions_t actions;
    check(posix_spawn_file_actions_init(&actions), "posix_spawn_file_actions_init");
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, output.writer.number(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, error.writer.number(), STDERR_FILENO);
    if (call.inherits_pipe) {
        // Onto itself, which lets the program have it.
        posix_spawn_file_actions_adddup2(&actions, pipe.writer.number(), pipe.writer.number());
    }
    std::vector<std::string> arguments{call.program};
    for (const std::string& argument : call.arguments) {
        arguments.push_back(argument == "{pipe}" ? std::to_string(pipe.writer.number()) : argument);
    }
    auto environment = environment_with(call.environment);
    pid_t process = -1;
    const int failure = posix_spawn(&process, call.program.c_str(), &actions, nullptr,
                                    pointers_to(arguments).data(), pointers_to(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    check(failure, call.program.c_str());
    return process;
}

/// Reads all streams to their ends; false when that takes too long.
bool read_to_the_end(const std::vector<stream*>& streams, std::chrono::seconds limit) {
    const auto deadline = steady_clock::now() + limit;
    for (;;) {
        std::vector<pollfd> waiting;
        for (const stream* each : streams) {
            if (each->reader.number() >= 0) {
                waiting.push_back({each->reader.number(), POLLIN, 0});
            }
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - steady_clock::now());
        if (waiting.empty()) {
            return true;
        }
        if (left.count() <= 0 ||
            poll(waiting.data(), waiting.size(), static_cast<int>(left.count())) == 0) {
            return false;
        }
        for (const pollfd& ready : waiting) {
            if (ready.revents != 0) {
                (*std::ranges::find(streams, ready.fd, [](const stream* each) {
                    return each->reader.number();
                }))->read_some();
            }
        }
    }
}

} // namespace

program_result run_program(const program_call& call) {
    stream output;
    stream error;
    stream pipe;
    const pid_t process = spawn(call, output, error, pipe);
    for (stream* each : {&output, &error, &pipe}) {
        each->writer.close();
    }
    const bool ended = read_to_the_end({&output, &error, &pipe}, call.limit);
    if (!ended) {
        kill(process, SIGKILL);
    }
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    if (!ended) {
        throw std::runtime_error(call.program + " did not end. It wrote:\n" + output.text +
                                 "\nand on the error stream:\n" + error.text +
                                 "\nand to the pipe:\n" + pipe.text);
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), output.text, error.text,
            pipe.text};
}

std::string program_folder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path().string();
}

std::string program_file_name(const std::string& name) {
    return name;
}

std::vector<std::string> temporary_folder_variables() {
    return {"TMPDIR"};
}

} // namespace vandrel::testing
