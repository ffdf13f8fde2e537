#include "platform/native_pipe.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/write.hpp>

#include <fcntl.h>

namespace vandrel {

struct native_pipe::stream {
    boost::asio::posix::stream_descriptor descriptor;
};

native_pipe::native_pipe(boost::asio::io_context& context, std::int64_t inherited)
    : stream_(std::make_unique<stream>(stream{boost::asio::posix::stream_descriptor(context)})) {
    // A number too large for a descriptor must not wrap around to a valid one.
    const int descriptor =
        inherited == static_cast<int>(inherited) ? static_cast<int>(inherited) : -1;
    // Nothing that closes when a program starts can have been inherited: it is a file that this
    // process has opened, and records must not be written into it.
    const bool is_own = (fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0;
    stream_->descriptor.assign(is_own ? -1 : descriptor);
}

native_pipe::native_pipe(native_pipe&&) noexcept = default;
native_pipe::~native_pipe() = default;

void native_pipe::write(std::string_view bytes) {
    boost::asio::write(stream_->descriptor, boost::asio::buffer(bytes));
}

} // namespace vandrel
