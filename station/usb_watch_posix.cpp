#include "station/usb_watch.h"

namespace vandrel::station {

// By value, because the version for Windows keeps the function.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
std::unique_ptr<usb_watch> usb_watch::start(boost::asio::io_context&, std::function<void()>) {
    // This host has no libraries for devices: a device that is attached could not be listed.
    return std::make_unique<usb_watch>();
}

} // namespace vandrel::station
