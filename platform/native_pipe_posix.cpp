#include "platform/native_pipe.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/write.hpp>

namespace vandrel {

struct native_pipe::stream {
    boost::asio::posix::stream_descriptor descriptor;
};

native_pipe::native_pipe(boost::asio::io_context& context, std::int64_t inherited)
    : stream_(std::make_unique<stream>(stream{boost::asio::posix::stream_descriptor(context)})) {
    // A number too large for a descriptor must not wrap around to a valid one.
    const int descriptor =
        inherited == static_cast<int>(inherited) ? static_cast<int>(inherited) : -1;
    stream_->descriptor.assign(descriptor);
}

native_pipe::native_pipe(native_pipe&&) noexcept = default;
native_pipe::~native_pipe() = default;

void native_pipe::write(std::string_view bytes) {
    boost::asio::write(stream_->descriptor, boost::asio::buffer(bytes));
}

} // namespace vandrel
