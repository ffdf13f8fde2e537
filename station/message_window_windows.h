#pragma once

/// A window that nobody sees, for what Windows announces by messages only.

#include <functional>
#include <future>
#include <optional>
#include <thread>

#include <windows.h>

namespace vandrel::station {

/// It has a thread of its own, since messages come to the thread that made the window.
class message_window {
public:
    /// Called in the window's thread. Returns the message's result, or nothing for a message that
    /// is treated as usual.
    using handler = std::function<std::optional<LRESULT>(UINT message, WPARAM what)>;

    /// Messages that Windows sends to all programs, such as the end of the session, come to
    /// top-level windows only.
    enum class kind { messages_only, top_level };

    /// `class_name` has to live as long as the process.
    message_window(const wchar_t* class_name, kind which, handler handle);
    message_window(const message_window&) = delete;
    message_window& operator=(const message_window&) = delete;
    /// Waits until the window's thread has ended, and with it a call of the handler.
    ~message_window();

    /// Null when there can be no window; then the handler is never called.
    HWND window() const { return window_; }

private:
    void run(const wchar_t* class_name, kind which, std::promise<HWND>& made);

    handler handle_;
    std::thread thread_;
    HWND window_ = nullptr;
};

} // namespace vandrel::station
