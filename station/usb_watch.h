#pragma once

/// The host's announcements of USB devices.

#include <boost/asio/io_context.hpp>

#include <functional>
#include <memory>

namespace vandrel::station {

/// Passes announcements on as long as it lives.
class usb_watch {
public:
    virtual ~usb_watch() = default;
    usb_watch() = default;
    usb_watch(const usb_watch&) = delete;
    usb_watch& operator=(const usb_watch&) = delete;

    /// Calls `arrived` in the loop of `context` whenever a USB device is attached. A call can still
    /// come after the object's end, for a device that was attached before it. When the host
    /// announces no devices, there are no calls, and no error: lists are asked for from time to
    /// time anyway.
    static std::unique_ptr<usb_watch> start(boost::asio::io_context& context,
                                            std::function<void()> arrived);
};

} // namespace vandrel::station
