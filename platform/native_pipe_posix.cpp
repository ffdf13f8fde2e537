#include "platform/native_pipe.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/write.hpp>
#include <boost/system/system_error.hpp>

#include <cerrno>

#include <fcntl.h>

namespace vandrel {

struct native_pipe::stream {
    boost::asio::posix::stream_descriptor descriptor;
};

native_pipe::native_pipe(boost::asio::io_context& context, std::int64_t inherited)
    : stream_(std::make_unique<stream>(stream{boost::asio::posix::stream_descriptor(context)})) {
    // A number too large for a descriptor must not wrap around to a valid one. Nothing that closes
    // when a program starts can have been inherited: it is a file that this process has opened, and
    // records must not be written into it.
    const int descriptor = static_cast<int>(inherited);
    if (descriptor != inherited || (fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0) {
        throw boost::system::system_error(EBADF, boost::system::system_category(), "assign");
    }
    stream_->descriptor.assign(descriptor);
}

native_pipe::native_pipe(native_pipe&&) noexcept = default;
native_pipe::~native_pipe() = default;

void native_pipe::write(std::string_view bytes) {
    boost::asio::write(stream_->descriptor, boost::asio::buffer(bytes));
}

} // namespace vandrel
