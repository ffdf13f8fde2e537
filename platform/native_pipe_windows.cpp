#include "platform/native_pipe.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/windows/stream_handle.hpp>
#include <boost/asio/write.hpp>

namespace vandrel {

struct native_pipe::stream {
    boost::asio::windows::stream_handle handle;
};

native_pipe::native_pipe(boost::asio::io_context& context, std::int64_t inherited)
    : stream_(std::make_unique<stream>(stream{boost::asio::windows::stream_handle(context)})) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the controlling application passes a number
    stream_->handle.assign(reinterpret_cast<HANDLE>(inherited));
}

native_pipe::native_pipe(native_pipe&&) noexcept = default;
native_pipe::~native_pipe() = default;

void native_pipe::write(std::string_view bytes) {
    boost::asio::write(stream_->handle, boost::asio::buffer(bytes));
}

} // namespace vandrel
