#include "station/usb_watch.h"

#include <boost/asio/post.hpp>

#include <future>
#include <thread>
#include <utility>

#include <dbt.h>
#include <windows.h>

namespace vandrel::station {

namespace {

constexpr const wchar_t* class_name = L"vandrel-station-usb";

/// The interface that every USB device has: GUID_DEVINTERFACE_USB_DEVICE.
constexpr GUID usb_device{
    0xA5DCBF10, 0x6530, 0x11D2, {0x90, 0x1F, 0x00, 0xC0, 0x4F, 0xB9, 0x51, 0xED}};

/// What the window procedure needs.
struct announcements {
    boost::asio::io_context& context;
    std::function<void()> arrived;
};

LRESULT CALLBACK handle_message(HWND window, UINT message, WPARAM first, LPARAM second) {
    if (message == WM_DEVICECHANGE && first == DBT_DEVICEARRIVAL) {
        const auto* const whom =
            reinterpret_cast<announcements*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        if (whom != nullptr) {
            boost::asio::post(whom->context, whom->arrived);
        }
        return TRUE;
    }
    if (message == WM_DESTROY) {
        PostQuitMessage(0);
        return 0;
    }
    return DefWindowProcW(window, message, first, second);
}

/// A window that nobody sees, for messages only; null when there can be none.
HWND make_window(announcements& whom) {
    WNDCLASSW kind{};
    kind.lpfnWndProc = handle_message;
    kind.hInstance = GetModuleHandleW(nullptr);
    kind.lpszClassName = class_name;
    // It stays registered for the next window.
    RegisterClassW(&kind);
    HWND window = CreateWindowExW(0, class_name, nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                  kind.hInstance, nullptr);
    if (window != nullptr) {
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&whom));
    }
    return window;
}

HDEVNOTIFY ask_for_announcements(HWND window) {
    DEV_BROADCAST_DEVICEINTERFACE_W what{};
    what.dbcc_size = sizeof what;
    what.dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
    what.dbcc_classguid = usb_device;
    return RegisterDeviceNotificationW(window, &what, DEVICE_NOTIFY_WINDOW_HANDLE);
}

/// Messages come to the thread that made the window, so that it needs one of its own.
class windows_usb_watch final : public usb_watch {
public:
    windows_usb_watch(boost::asio::io_context& context, std::function<void()> arrived)
        : whom_{context, std::move(arrived)} {
        std::promise<HWND> made;
        auto window = made.get_future();
        thread_ = std::thread([this, &made] { run(made); });
        window_ = window.get();
    }

    ~windows_usb_watch() override {
        if (window_ != nullptr) {
            PostMessageW(window_, WM_CLOSE, 0, 0);
        }
        thread_.join();
    }

private:
    void run(std::promise<HWND>& made) {
        HWND window = make_window(whom_);
        HDEVNOTIFY announced = window != nullptr ? ask_for_announcements(window) : nullptr;
        made.set_value(window);
        if (window == nullptr) {
            return;
        }
        for (MSG message; GetMessageW(&message, nullptr, 0, 0) > 0;) {
            DispatchMessageW(&message);
        }
        if (announced != nullptr) {
            UnregisterDeviceNotification(announced);
        }
    }

    announcements whom_;
    std::thread thread_;
    HWND window_ = nullptr;
};

} // namespace

std::unique_ptr<usb_watch> usb_watch::start(boost::asio::io_context& context,
                                            std::function<void()> arrived) {
    return std::make_unique<windows_usb_watch>(context, std::move(arrived));
}

} // namespace vandrel::station
