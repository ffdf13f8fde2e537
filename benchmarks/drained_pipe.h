#pragma once

#include <cstddef>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <vector>

#include <unistd.h>

namespace vandrel::benchmarks {

/// A pipe that a thread empties as fast as it can, counting the bytes.
class drained_pipe {
public:
    drained_pipe() {
        if (pipe(ends_) != 0) {
            throw std::runtime_error("no pipe");
        }
        reader_ = std::thread([this] {
            std::vector<char> piece(std::size_t{1} << 16);
            for (ssize_t got = 0; (got = read(ends_[0], piece.data(), piece.size())) > 0;) {
                count_ += static_cast<std::size_t>(got);
            }
        });
    }
    drained_pipe(const drained_pipe&) = delete;
    drained_pipe& operator=(const drained_pipe&) = delete;
    ~drained_pipe() { close(ends_[0]); }

    /// The write end; the caller closes it.
    int write_end() const { return ends_[1]; }

    /// The number of bytes. Called once, after the write end is closed.
    std::size_t finish() {
        reader_.join();
        return count_;
    }

private:
    int ends_[2]{};
    std::size_t count_ = 0;
    std::thread reader_;
};

/// Writes all of `bytes` with as few calls as possible.
inline void write_all(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(descriptor, bytes.data(), bytes.size());
        if (written <= 0) {
            throw std::runtime_error("the pipe is broken");
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

} // namespace vandrel::benchmarks
