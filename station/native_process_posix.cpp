#include "station/native_process.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>

#include <array>
#include <chrono>
#include <csignal>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vandrel::station {

namespace {

class descriptor {
public:
    explicit descriptor(int number, const char* what) : number_(number) {
        if (number < 0) {
            throw std::system_error(errno, std::generic_category(), what);
        }
    }
    descriptor(descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    descriptor(const descriptor&) = delete;
    descriptor& operator=(const descriptor&) = delete;
    ~descriptor() {
        if (number_ >= 0) {
            close(number_);
        }
    }
    int number() const { return number_; }
    int release() { return std::exchange(number_, -1); }

private:
    int number_;
};

struct pipe_ends {
    descriptor reader;
    descriptor writer;
};

pipe_ends make_pipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    return {descriptor(ends[0], "pipe2"), descriptor(ends[1], "pipe2")};
}

/// Everything that the child needs, made before the fork: between that and exec only functions that
/// are safe in a signal handler may be called.
struct child_plan {
    std::vector<std::string> arguments;
    std::vector<std::string> environment;
    std::vector<char*> argument_pointers;
    std::vector<char*> environment_pointers;
    int input;
    int output;
    int pipe;
    int failure;
    pid_t parent;
};

std::vector<char*> pointers_to(std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

std::vector<std::string> environment_with(const std::filesystem::path& temporary_folder) {
    std::vector<std::string> result;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string text = *variable;
        const std::string name = text.substr(0, text.find('='));
        if (name != "TEMP" && name != "TMP" && name != "TMPDIR") {
            result.push_back(text);
        }
    }
    for (const char* name : {"TEMP=", "TMP=", "TMPDIR="}) {
        result.push_back(name + temporary_folder.string());
    }
    return result;
}

[[noreturn]] void report_failure(int to) {
    const int error = errno;
    [[maybe_unused]] const ssize_t written = write(to, &error, sizeof error);
    _exit(127);
}

/// Holds all signals back, in this thread.
class signals_blocked {
public:
    signals_blocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &before_);
    }
    signals_blocked(const signals_blocked&) = delete;
    signals_blocked& operator=(const signals_blocked&) = delete;
    ~signals_blocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_{};
};

[[noreturn]] void become_tool(const child_plan& plan) {
    // A session of its own: what a terminal sends its foreground processes does not reach the tool.
    setsid();
    // Signals that came before that are dropped: ignoring a signal discards a pending one.
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        signal(number, SIG_IGN);
        signal(number, SIG_DFL);
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != plan.parent) {
        _exit(127);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE, SIG_DFL);
    // Not all that this process has open is marked to be closed: streams of the standard library
    // are not, nor what it inherited itself.
    constexpr unsigned first_other = STDERR_FILENO + 1;
    syscall(SYS_close_range, first_other, ~0U, CLOSE_RANGE_CLOEXEC);
    if (dup2(plan.input, STDIN_FILENO) < 0 || dup2(plan.output, STDOUT_FILENO) < 0 ||
        dup2(plan.output, STDERR_FILENO) < 0 || fcntl(plan.pipe, F_SETFD, 0) != 0) {
        report_failure(plan.failure);
    }
    execve(plan.argument_pointers.front(), plan.argument_pointers.data(),
           plan.environment_pointers.data());
    report_failure(plan.failure);
}

pid_t spawn(child_plan& plan, const std::string& program) {
    pipe_ends failure = make_pipe();
    plan.failure = failure.writer.number();
    // The handlers of this process would write into its event loop from the child.
    const signals_blocked until_the_tool_runs;
    const pid_t process = fork();
    if (process < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (process == 0) {
        become_tool(plan);
    }
    close(failure.writer.release());
    int error = 0;
    ssize_t count = 0;
    do {
        count = read(failure.reader.number(), &error, sizeof error);
    } while (count < 0 && errno == EINTR);
    if (count == sizeof error) {
        waitpid(process, nullptr, 0);
        throw std::system_error(error, std::generic_category(), program);
    }
    return process;
}

class posix_process final : public native_process {
public:
    posix_process(boost::asio::io_context& context, pid_t process, int reader, int watched)
        : process_(process),
          stream_(context, reader),
          watched_(context, watched),
          later_(context) {}

    ~posix_process() override {
        if (process_ > 0) {
            kill(process_, SIGKILL);
            waitpid(process_, nullptr, 0);
        }
    }

    void async_read(std::span<char> buffer, read_handler handler) override {
        stream_.async_read_some(
            boost::asio::buffer(buffer.data(), buffer.size()),
            [handler = std::move(handler)](const boost::system::error_code& error,
                                           std::size_t count) { handler(error ? 0 : count); });
    }

    void async_wait(exit_handler handler) override {
        watched_.async_wait(
            boost::asio::posix::stream_descriptor::wait_read,
            [this, handler = std::move(handler)](const boost::system::error_code& error) {
                if (!error) {
                    take_end(handler);
                }
            });
    }

    void terminate() override {
        if (process_ > 0) {
            kill(process_, SIGKILL);
        }
    }

    std::size_t bytes_in_pipe() override {
        int count = 0;
        return ioctl(stream_.native_handle(), FIONREAD, &count) == 0
                   ? static_cast<std::size_t>(count)
                   : 0;
    }

    void close_stream() override {
        boost::system::error_code ignored;
        stream_.close(ignored);
    }

    long number() const override { return process_; }

private:
    void take_end(const exit_handler& handler) {
        int status = 0;
        // A debugger is told first that the process has ended, and may keep that back for a while.
        if (waitpid(process_, &status, WNOHANG) == 0) {
            later_.expires_after(std::chrono::milliseconds(100));
            later_.async_wait([this, handler](const boost::system::error_code& error) {
                if (!error) {
                    take_end(handler);
                }
            });
            return;
        }
        process_ = -1;
        handler(WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status));
    }

    pid_t process_;
    boost::asio::posix::stream_descriptor stream_;
    boost::asio::posix::stream_descriptor watched_;
    boost::asio::steady_timer later_;
};

} // namespace

std::unique_ptr<native_process> start_process(boost::asio::io_context& context,
                                              const process_start& start) {
    auto [reader, writer] = make_pipe();
    const descriptor input(open("/dev/null", O_RDONLY | O_CLOEXEC), "/dev/null");
    const descriptor output(
        open(start.diagnostics.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600),
        start.diagnostics.c_str());
    child_plan plan{{std::filesystem::absolute(start.program).string()},
                    environment_with(start.temporary_folder),
                    {},
                    {},
                    input.number(),
                    output.number(),
                    writer.number(),
                    -1,
                    getpid()};
    for (const std::string& argument : start.arguments) {
        plan.arguments.push_back(argument == "{pipe}" ? std::to_string(writer.number()) : argument);
    }
    plan.argument_pointers = pointers_to(plan.arguments);
    plan.environment_pointers = pointers_to(plan.environment);
    const pid_t process = spawn(plan, start.program);
    // The descriptor is readable once the process has ended. glibc has the call since 2.36.
    const int watched = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
    if (watched < 0) {
        const int error = errno;
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
        throw std::system_error(error, std::generic_category(), "pidfd_open");
    }
    return std::make_unique<posix_process>(context, process, reader.release(), watched);
}

} // namespace vandrel::station
