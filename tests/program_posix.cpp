#include "tests/program.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
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

    bool is_open() const { return reader.number() >= 0; }

    /// Reads at most so many of the available bytes, and closes the stream at its end.
    std::string read_some(std::size_t most) {
        std::array<char, 65536> buffer{};
        const ssize_t count = read(reader.number(), buffer.data(), std::min(most, buffer.size()));
        if (count <= 0) {
            reader.close();
            return {};
        }
        std::string piece(buffer.data(), static_cast<std::size_t>(count));
        text += piece;
        return piece;
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
        // Duplicating it onto itself lets the program inherit it.
        posix_spawn_file_actions_adddup2(&actions, pipe.writer.number(), pipe.writer.number());
    }
    for (const std::intptr_t each : call.inherited) {
        const int number = static_cast<int>(each);
        posix_spawn_file_actions_adddup2(&actions, number, number);
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

} // namespace

struct running_program::system_process {
    explicit system_process(const program_call& started)
        : call(started), deadline(steady_clock::now() + started.limit) {
        process = spawn(call, output, error, pipe);
        for (stream* each : {&output, &error, &pipe}) {
            each->writer.close();
        }
    }
    ~system_process() {
        if (process >= 0) {
            kill(process, SIGKILL);
            reap();
        }
    }
    system_process(const system_process&) = delete;
    system_process& operator=(const system_process&) = delete;

    int reap() {
        int status = 0;
        while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
        }
        process = -1;
        return status;
    }

    [[noreturn]] void give_up() {
        kill(process, SIGKILL);
        reap();
        throw std::runtime_error(call.program + " did not end. It wrote:\n" + output.text +
                                 "\nand on standard error:\n" + error.text +
                                 "\nand to the pipe:\n" + pipe.text);
    }

    bool has_open_streams() const { return output.is_open() || error.is_open() || pipe.is_open(); }

    /// Waits until anything can be read and reads it. Returns the bytes of the pipe.
    std::string read_some(std::size_t most_of_the_pipe) {
        // poll ignores closed streams.
        std::array<pollfd, 3> waiting{{{output.reader.number(), POLLIN, 0},
                                       {error.reader.number(), POLLIN, 0},
                                       {pipe.reader.number(), POLLIN, 0}}};
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - steady_clock::now());
        if (left.count() <= 0 ||
            poll(waiting.data(), waiting.size(), static_cast<int>(left.count())) == 0) {
            give_up();
        }
        if (waiting[0].revents != 0) {
            output.read_some(SIZE_MAX);
        }
        if (waiting[1].revents != 0) {
            error.read_some(SIZE_MAX);
        }
        return waiting[2].revents != 0 ? pipe.read_some(most_of_the_pipe) : std::string();
    }

    program_call call;
    steady_clock::time_point deadline;
    stream output;
    stream error;
    stream pipe;
    pid_t process = -1;
};

running_program::running_program(const program_call& call)
    : process_(std::make_unique<system_process>(call)) {}

running_program::running_program(running_program&&) noexcept = default;
running_program::~running_program() = default;

std::string running_program::read_pipe(std::size_t most) {
    while (process_->pipe.is_open()) {
        std::string piece = process_->read_some(most);
        if (!piece.empty()) {
            return piece;
        }
    }
    return {};
}

void running_program::wait_for_error_text(const std::string& text) {
    while (process_->error.text.find(text) == std::string::npos) {
        if (!process_->error.is_open()) {
            throw std::runtime_error("not on standard error: " + text + "\nbut:\n" +
                                     process_->error.text);
        }
        process_->read_some(SIZE_MAX);
    }
}

void running_program::close_pipe() {
    process_->pipe.reader.close();
}

program_result running_program::wait() {
    while (process_->has_open_streams()) {
        process_->read_some(SIZE_MAX);
    }
    const int status = process_->reap();
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), process_->output.text,
            process_->error.text, process_->pipe.text};
}

program_result run_program(const program_call& call) {
    return running_program(call).wait();
}

std::string program_folder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path().string();
}

std::string program_file_name(const std::string& name) {
    return name;
}

std::string library_file_name(const std::string& name) {
    return "lib" + name + ".so";
}

std::vector<std::string> device_names() {
    // The first never ends, the second may wait for ever, the third takes everything.
    return {"/dev/zero", "/dev/tty", "/dev/null"};
}

std::vector<std::string> temporary_folder_variables() {
    return {"TMPDIR"};
}

} // namespace vandrel::testing
