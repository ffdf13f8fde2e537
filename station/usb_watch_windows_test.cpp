#include "station/test_handle_count_windows.h"
#include "station/usb_watch.h"

#include <gtest/gtest.h>

#include <dbt.h>
#include <windows.h>

namespace vandrel::station {
namespace {

/// This process's: tests that run at the same time have such windows too. Null as well if one of
/// those goes during the search.
HWND window_of_the_watch() {
    HWND window = nullptr;
    DWORD process = 0;
    do {
        window = FindWindowExW(HWND_MESSAGE, window, L"vandrel-station-usb", nullptr);
        GetWindowThreadProcessId(window, &process);
    } while (window != nullptr && process != GetCurrentProcessId());
    return window;
}

/// As the system does it. Returns when the watch has taken it.
void announce(WPARAM what) {
    DEV_BROADCAST_DEVICEINTERFACE_W device{};
    device.dbcc_size = sizeof device;
    device.dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
    HWND window = nullptr;
    while (window == nullptr) {
        window = window_of_the_watch();
    }
    SendMessageW(window, WM_DEVICECHANGE, what, reinterpret_cast<LPARAM>(&device));
}

TEST(usb_watch, calls_in_the_loop_for_each_device_that_is_attached) {
    boost::asio::io_context context;
    int arrivals = 0;
    const auto watch = usb_watch::start(context, [&arrivals] { ++arrivals; });
    announce(DBT_DEVICEARRIVAL);
    announce(DBT_DEVICEARRIVAL);
    EXPECT_EQ(arrivals, 0);
    context.run();
    EXPECT_EQ(arrivals, 2);
}

TEST(usb_watch, does_not_call_for_a_device_that_is_detached) {
    boost::asio::io_context context;
    int arrivals = 0;
    const auto watch = usb_watch::start(context, [&arrivals] { ++arrivals; });
    announce(DBT_DEVICEREMOVECOMPLETE);
    announce(DBT_DEVNODES_CHANGED);
    context.run();
    EXPECT_EQ(arrivals, 0);
}

TEST(usb_watch, leaves_no_window_and_no_handle) {
    boost::asio::io_context context;
    // The first ones make what the process keeps.
    for (int i = 0; i < 3; ++i) {
        usb_watch::start(context, [] {});
    }
    const std::size_t before = count_handles(GetCurrentProcess());
    EXPECT_GT(before, 0U);
    for (int i = 0; i < 50; ++i) {
        usb_watch::start(context, [] {});
    }
    EXPECT_LE(count_handles(GetCurrentProcess()), before + 5);
    EXPECT_EQ(window_of_the_watch(), nullptr);
}

} // namespace
} // namespace vandrel::station
