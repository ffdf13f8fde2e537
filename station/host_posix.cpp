#include "station/host.h"

#include <boost/asio/signal_set.hpp>

#include <array>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vandrel::station {

namespace {

class descriptor {
public:
    explicit descriptor(int number) : number_(number) {}
    descriptor(descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    descriptor(const descriptor&) = delete;
    descriptor& operator=(const descriptor&) = delete;
    ~descriptor() {
        if (number_ >= 0) {
            close(number_);
        }
    }
    int number() const { return number_; }

private:
    int number_;
};

class posix_held_file final : public held_file {
public:
    explicit posix_held_file(descriptor file) : file_(std::move(file)) {}

private:
    descriptor file_;
};

class posix_device_lock final : public device_lock {
public:
    posix_device_lock(descriptor file, std::filesystem::path path)
        : file_(std::move(file)), path_(std::move(path)) {}
    // Removed while it is held: a process that has opened it meanwhile sees that the name is gone.
    ~posix_device_lock() override { unlink(path_.c_str()); }

private:
    descriptor file_;
    std::filesystem::path path_;
};

bool is_still_named(const descriptor& file, const std::filesystem::path& path) {
    struct stat opened {};
    struct stat named {};
    return fstat(file.number(), &opened) == 0 && stat(path.c_str(), &named) == 0 &&
           opened.st_ino == named.st_ino && opened.st_dev == named.st_dev;
}

/// Another user's file can be opened for reading only, which is enough to hold it. It is there when
/// that user's station works on the device, or was killed.
descriptor open_lock(const std::filesystem::path& path) {
    constexpr int always = O_NOFOLLOW | O_CLOEXEC;
    const int own = open(path.c_str(), O_RDWR | O_CREAT | always, 0644);
    if (own >= 0) {
        // Whatever the umask says. It can fail for another user's file.
        [[maybe_unused]] const int changed = fchmod(own, 0644);
        return descriptor(own);
    }
    return descriptor(open(path.c_str(), O_RDONLY | always));
}

std::optional<std::int64_t> number_in(const descriptor& file) {
    std::array<char, 24> text{};
    if (pread(file.number(), text.data(), text.size() - 1, 0) <= 0) {
        return {};
    }
    return std::strtoll(text.data(), nullptr, 10);
}

int number_of_stream(standard_stream stream) {
    return static_cast<int>(stream);
}

} // namespace

bool is_terminal(standard_stream stream) {
    return isatty(number_of_stream(stream)) == 1;
}

bool write_all(standard_stream stream, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = write(number_of_stream(stream), text.data(), text.size());
        if (count < 0 && errno != EINTR) {
            return false;
        }
        text.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
    }
    return true;
}

std::int64_t own_process_number() {
    return getpid();
}

std::filesystem::path program_folder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

std::string program_file_name(const std::string& name) {
    return name;
}

std::filesystem::path local_data_folder() {
    if (const char* state = std::getenv("XDG_STATE_HOME"); state != nullptr && *state == '/') {
        return state;
    }
    const char* own = std::getenv("HOME");
    if (own == nullptr || *own == '\0') {
        throw std::runtime_error("HOME names no folder");
    }
    return std::filesystem::path(own) / ".local" / "state";
}

bool is_open_for_writing(const std::filesystem::path&) {
    // The system does not tell it of another user's processes.
    return false;
}

std::chrono::minutes offset_of_local_time(std::chrono::system_clock::time_point time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm local{};
    localtime_r(&seconds, &local);
    return std::chrono::minutes(local.tm_gmtoff / 60);
}

namespace {

void await_signal(boost::asio::signal_set& signals, const std::function<void()>& handler) {
    signals.async_wait([&signals, &handler](const boost::system::error_code& error, int) {
        if (!error) {
            handler();
            await_signal(signals, handler);
        }
    });
}

} // namespace

void watch_signals(boost::asio::io_context& context, std::function<void()> cancelled,
                   std::function<void()> ends) {
    struct watched {
        boost::asio::signal_set cancelling;
        boost::asio::signal_set ending;
        std::function<void()> cancelled;
        std::function<void()> ends;
    };
    // It lives as long as the process, and no context that is passed is destroyed before.
    static auto* const both = new watched{
        {context, SIGINT}, {context, SIGTERM, SIGHUP}, std::move(cancelled), std::move(ends)};
    await_signal(both->cancelling, both->cancelled);
    await_signal(both->ending, both->ends);
    std::signal(SIGPIPE, SIG_IGN);
}

void keep_awake(bool) {
    // There is no one way to ask: power managers differ from one desktop to the next.
}

std::unique_ptr<held_file> held_file::make(const std::filesystem::path& path) {
    // It gets its name only when it is held, so that nobody finds it without its holder.
    std::filesystem::path unfinished = path;
    unfinished += ".new";
    descriptor file(open(unfinished.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (file.number() < 0 || flock(file.number(), LOCK_EX | LOCK_NB) != 0) {
        throw std::system_error(errno, std::generic_category(), path.string());
    }
    std::filesystem::rename(unfinished, path);
    return std::make_unique<posix_held_file>(std::move(file));
}

std::unique_ptr<held_file> held_file::take(const std::filesystem::path& path) {
    descriptor file(open(path.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC));
    if (file.number() < 0 || flock(file.number(), LOCK_EX | LOCK_NB) != 0) {
        return nullptr;
    }
    return std::make_unique<posix_held_file>(std::move(file));
}

device_lock::outcome device_lock::take(const std::string& ecid) {
    // The same path for all users, whatever their TMPDIR says.
    const std::filesystem::path path = "/tmp/vandrel-station-" + ecid + ".lock";
    for (;;) {
        descriptor file = open_lock(path);
        if (file.number() < 0) {
            return {};
        }
        if (flock(file.number(), LOCK_EX | LOCK_NB) != 0) {
            return {nullptr, number_in(file)};
        }
        if (!is_still_named(file, path)) {
            continue;
        }
        const std::string number = std::to_string(getpid()) + "\n";
        if (ftruncate(file.number(), 0) != 0 ||
            pwrite(file.number(), number.data(), number.size(), 0) < 0) {
            // The number is for people only.
        }
        return {std::make_unique<posix_device_lock>(std::move(file), path), {}};
    }
}

} // namespace vandrel::station
