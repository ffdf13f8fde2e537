#include "station/message_window_windows.h"
#include "station/usb_watch.h"

#include <boost/asio/post.hpp>

#include <utility>

#include <dbt.h>

namespace vandrel::station {

namespace {

/// The interface class of USB devices: GUID_DEVINTERFACE_USB_DEVICE.
constexpr GUID usb_device{
    0xA5DCBF10, 0x6530, 0x11D2, {0x90, 0x1F, 0x00, 0xC0, 0x4F, 0xB9, 0x51, 0xED}};

class windows_usb_watch final : public usb_watch {
public:
    windows_usb_watch(boost::asio::io_context& context, const std::function<void()>& arrived)
        : window_(L"vandrel-station-usb", message_window::kind::messages_only,
                  [&context, arrived](UINT message, WPARAM what) -> std::optional<LRESULT> {
                      if (message != WM_DEVICECHANGE || what != DBT_DEVICEARRIVAL) {
                          return {};
                      }
                      boost::asio::post(context, arrived);
                      return TRUE;
                  }) {
        if (window_.window() != nullptr) {
            DEV_BROADCAST_DEVICEINTERFACE_W what{};
            what.dbcc_size = sizeof what;
            what.dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
            what.dbcc_classguid = usb_device;
            announced_ =
                RegisterDeviceNotificationW(window_.window(), &what, DEVICE_NOTIFY_WINDOW_HANDLE);
        }
    }

    ~windows_usb_watch() override {
        if (announced_ != nullptr) {
            UnregisterDeviceNotification(announced_);
        }
    }

private:
    message_window window_;
    HDEVNOTIFY announced_ = nullptr;
};

} // namespace

std::unique_ptr<usb_watch> usb_watch::start(boost::asio::io_context& context,
                                            std::function<void()> arrived) {
    return std::make_unique<windows_usb_watch>(context, arrived);
}

} // namespace vandrel::station
