#include "platform/forwarding/apple_folders_windows.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cwchar>
#include <map>

#include <windows.h>

namespace {

using namespace vandrel;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// The Store of these tests: the families' packages, and their folders.
std::map<std::wstring, std::vector<std::wstring>> packages;
std::map<std::wstring, std::wstring> folders;

std::int32_t __stdcall packages_of_family(const wchar_t* family, std::uint32_t* count,
                                          wchar_t** full_names, std::uint32_t* buffer_length,
                                          wchar_t* buffer) {
    const auto& names = packages[family];
    std::uint32_t length = 0;
    for (const std::wstring& name : names) {
        length += static_cast<std::uint32_t>(name.size()) + 1;
    }
    if (*count < names.size() || *buffer_length < length) {
        *count = static_cast<std::uint32_t>(names.size());
        *buffer_length = length;
        return ERROR_INSUFFICIENT_BUFFER;
    }
    for (const std::wstring& name : names) {
        *full_names++ = std::wcscpy(buffer, name.c_str());
        buffer += name.size() + 1;
    }
    *count = static_cast<std::uint32_t>(names.size());
    return ERROR_SUCCESS;
}

std::int32_t __stdcall path_of_package(const wchar_t* full_name, std::uint32_t* path_length,
                                       wchar_t* path) {
    const auto found = folders.find(full_name);
    if (found == folders.end()) {
        return ERROR_NOT_FOUND;
    }
    const auto length = static_cast<std::uint32_t>(found->second.size()) + 1;
    if (*path_length < length) {
        *path_length = length;
        return ERROR_INSUFFICIENT_BUFFER;
    }
    std::wcscpy(path, found->second.c_str());
    return ERROR_SUCCESS;
}

class store : public ::testing::Test {
protected:
    void TearDown() override {
        packages.clear();
        folders.clear();
    }

    const package_functions functions{packages_of_family, path_of_package};
};

TEST_F(store, without_apples_packages_has_no_folders) {
    EXPECT_THAT(store_package_folders(functions), IsEmpty());
}

TEST_F(store, has_the_folders_of_all_packages_of_both_families) {
    packages[L"AppleInc.iTunes_nzyj5cx40ttqa"] = {L"AppleInc.iTunes_12_x64"};
    packages[L"AppleInc.AppleDevices_nzyj5cx40ttqa"] = {L"AppleInc.AppleDevices_1_x64",
                                                        L"AppleInc.AppleDevices_2_x64"};
    folders = {{L"AppleInc.iTunes_12_x64", L"C:\\Apps\\iTunes"},
               {L"AppleInc.AppleDevices_1_x64", L"C:\\Apps\\Devices1"},
               {L"AppleInc.AppleDevices_2_x64", L"C:\\Apps\\Devices2"}};
    EXPECT_THAT(store_package_folders(functions),
                ElementsAre(L"C:\\Apps\\Devices1", L"C:\\Apps\\Devices2", L"C:\\Apps\\iTunes"));
}

TEST_F(store, leaves_out_a_package_without_a_folder) {
    packages[L"AppleInc.iTunes_nzyj5cx40ttqa"] = {L"staged", L"installed"};
    folders = {{L"installed", L"C:\\Apps\\iTunes"}};
    EXPECT_THAT(store_package_folders(functions), ElementsAre(L"C:\\Apps\\iTunes"));
}

TEST_F(store, is_not_asked_on_a_system_without_it) {
    EXPECT_THAT(store_package_folders({nullptr, path_of_package}), IsEmpty());
    EXPECT_THAT(store_package_folders({packages_of_family, nullptr}), IsEmpty());
}

TEST(apple_folders, under_common_files_are_always_looked_in) {
    const apple_folders found = find_apple_folders();
    ASSERT_FALSE(found.application_support.empty());
    EXPECT_EQ(found.application_support.back(),
              L"C:\\Program Files\\Common Files\\Apple\\Apple Application Support");
    EXPECT_EQ(found.mobile_device_support.back(),
              L"C:\\Program Files\\Common Files\\Apple\\Mobile Device Support");
}

} // namespace
