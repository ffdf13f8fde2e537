#include "station/doctor_host.h"

#include <gmock/gmock.h>

#include <windows.h>

namespace vandrel::station {
namespace {

using ::testing::MatchesRegex;

TEST(file_version, of_a_library_of_windows_has_four_numbers) {
    std::wstring folder(MAX_PATH, L'\0');
    folder.resize(GetSystemDirectoryW(folder.data(), MAX_PATH));
    EXPECT_THAT(file_version(std::filesystem::path(folder) / "kernel32.dll"),
                MatchesRegex("\\d+\\.\\d+\\.\\d+\\.\\d+"));
}

TEST(this_windows, lists_usb_devices) {
    EXPECT_TRUE(attached_apple_devices());
}

TEST(this_windows, has_a_pending_restart_when_its_registry_says_so) {
    constexpr const wchar_t* name = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\WindowsUpdate\\"
                                    L"Auto Update\\RebootRequired";
    HKEY key = nullptr;
    DWORD disposition = 0;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, name, 0, nullptr, 0, KEY_READ | KEY_WOW64_64KEY,
                        nullptr, &key, &disposition) != ERROR_SUCCESS) {
        GTEST_SKIP() << "only an administrator can write this part of the registry";
    }
    RegCloseKey(key);
    EXPECT_THAT(reasons_for_restart(), ::testing::Contains("Windows Update needs it"));
    if (disposition == REG_CREATED_NEW_KEY) {
        RegDeleteKeyExW(HKEY_LOCAL_MACHINE, name, KEY_WOW64_64KEY, 0);
        EXPECT_THAT(reasons_for_restart(),
                    ::testing::Not(::testing::Contains("Windows Update needs it")));
    }
}

} // namespace
} // namespace vandrel::station
