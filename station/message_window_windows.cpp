#include "station/message_window_windows.h"

#include <utility>

namespace vandrel::station {

namespace {

LRESULT CALLBACK handle_message(HWND window, UINT message, WPARAM what, LPARAM more) {
    const auto* const handle =
        reinterpret_cast<const message_window::handler*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (handle != nullptr) {
        if (const auto result = (*handle)(message, what)) {
            return *result;
        }
    }
    if (message == WM_DESTROY) {
        PostQuitMessage(0);
        return 0;
    }
    return DefWindowProcW(window, message, what, more);
}

HWND make_window(const wchar_t* class_name, message_window::kind which) {
    WNDCLASSW made_like_this{};
    made_like_this.lpfnWndProc = handle_message;
    made_like_this.hInstance = GetModuleHandleW(nullptr);
    made_like_this.lpszClassName = class_name;
    // It stays registered for the next window.
    RegisterClassW(&made_like_this);
    HWND parent = which == message_window::kind::messages_only ? HWND_MESSAGE : nullptr;
    return CreateWindowExW(0, class_name, nullptr, WS_POPUP, 0, 0, 0, 0, parent, nullptr,
                           made_like_this.hInstance, nullptr);
}

} // namespace

message_window::message_window(const wchar_t* class_name, kind which, handler handle)
    : handle_(std::move(handle)) {
    std::promise<HWND> made;
    auto window = made.get_future();
    thread_ = std::thread([this, class_name, which, &made] { run(class_name, which, made); });
    window_ = window.get();
}

message_window::~message_window() {
    if (window_ != nullptr) {
        PostMessageW(window_, WM_CLOSE, 0, 0);
    }
    thread_.join();
}

void message_window::run(const wchar_t* class_name, kind which, std::promise<HWND>& made) {
    HWND window = make_window(class_name, which);
    if (window != nullptr) {
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&handle_));
    }
    made.set_value(window);
    if (window == nullptr) {
        return;
    }
    for (MSG message; GetMessageW(&message, nullptr, 0, 0) > 0;) {
        DispatchMessageW(&message);
    }
}

} // namespace vandrel::station
