#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

namespace boost::asio {
class io_context;
}

namespace vandrel {

/// The writing end of a pipe that this process inherited: a file descriptor, or on Windows a
/// handle opened for overlapped writing. Owns the descriptor or handle.
class native_pipe {
public:
    /// `inherited` is the number that the controlling application passed on. Throws
    /// boost::system::system_error with the operation "assign" if it is not an open descriptor or
    /// handle that can be inherited. One that cannot be written may fail in `write` only. `context`
    /// outlives the pipe; it is never run.
    native_pipe(boost::asio::io_context& context, std::int64_t inherited);
    native_pipe(native_pipe&&) noexcept;
    ~native_pipe();

    /// Returns when every byte is written, in pieces of at most 65,536 bytes. Throws
    /// boost::system::system_error with the operation "write". One thread at a time.
    void write(std::string_view bytes);

private:
    struct stream;
    std::unique_ptr<stream> stream_;
};

} // namespace vandrel
