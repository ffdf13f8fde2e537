#include "station/doctor_host.h"
#include "station/text.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <cwchar>
#include <memory>
#include <string_view>
#include <system_error>

// Before those that need it.
#include <aclapi.h>
#include <psapi.h>
#include <setupapi.h>
#include <tlhelp32.h>
#include <windows.h>

namespace vandrel::station {

namespace {

using std::chrono::system_clock;
namespace fs = std::filesystem;

struct handle_closer {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using unique_handle = std::unique_ptr<void, handle_closer>;

struct library_closer {
    void operator()(HMODULE library) const { FreeLibrary(library); }
};
using unique_library = std::unique_ptr<std::remove_pointer_t<HMODULE>, library_closer>;

struct memory_freer {
    void operator()(void* memory) const { LocalFree(memory); }
};

[[noreturn]] void fail(const std::string& what, DWORD error = GetLastError()) {
    throw std::system_error(static_cast<int>(error), std::system_category(), what);
}

std::string utf8_of(std::wstring_view text) {
    return text_of(fs::path(text));
}

/// A library of Windows'. It is not imported, because it could then be taken from the program's
/// folder.
HMODULE system_library(const wchar_t* name) {
    // It stays until the end of the process.
    HMODULE library = LoadLibraryExW(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    if (library == nullptr) {
        fail(utf8_of(name));
    }
    return library;
}

template<class Function>
Function* function_of(HMODULE library, const char* name) {
    const auto address = GetProcAddress(library, name);
    if (address == nullptr) {
        fail(name);
    }
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(address));
}

system_clock::time_point time_of(const FILETIME& time) {
    // In units of 100 ns, from 1601.
    constexpr std::int64_t epoch = 116'444'736'000'000'000;
    const auto count =
        static_cast<std::int64_t>((std::uint64_t{time.dwHighDateTime} << 32U) | time.dwLowDateTime);
    return system_clock::time_point(std::chrono::duration_cast<system_clock::duration>(
        std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>(count - epoch)));
}

// --- USB

using device_set = std::unique_ptr<void, BOOL(WINAPI*)(HDEVINFO)>;

/// A text, or the first of several; empty when the device has none.
std::wstring device_text(HMODULE setup, HDEVINFO set, SP_DEVINFO_DATA& device, DWORD property) {
    auto* const read = function_of<decltype(SetupDiGetDeviceRegistryPropertyW)>(
        setup, "SetupDiGetDeviceRegistryPropertyW");
    std::array<wchar_t, 1024> text{};
    // The last character stays 0.
    const DWORD size = (text.size() - 1) * sizeof(wchar_t);
    return read(set, &device, property, nullptr, reinterpret_cast<BYTE*>(text.data()), size,
                nullptr)
               ? std::wstring(text.data())
               : std::wstring();
}

/// Of "USB\VID_05AC&PID_1281&REV_0000"; nothing for another vendor, and for an interface of a
/// device.
std::optional<std::uint16_t> product_of(std::wstring id) {
    std::ranges::transform(id, id.begin(), [](wchar_t c) { return std::towupper(c); });
    constexpr std::wstring_view begin = L"USB\\VID_05AC&PID_";
    if (!id.starts_with(begin) || id.find(L"&MI_") != std::wstring::npos) {
        return {};
    }
    return static_cast<std::uint16_t>(
        std::wcstoul(id.substr(begin.size(), 4).c_str(), nullptr, 16));
}

// --- Sleep

/// GUID_SLEEP_SUBGROUP and GUID_STANDBY_TIMEOUT.
constexpr GUID sleep_settings{
    0x238C9FA8, 0x0AAD, 0x41ED, {0x83, 0xF4, 0x97, 0xBE, 0x24, 0x2C, 0x8F, 0x20}};
constexpr GUID sleep_after{
    0x29F6C1DB, 0x86DA, 0x48C5, {0x9F, 0xDB, 0xF2, 0xB6, 0x7B, 0x1F, 0x44, 0xDA}};

// --- Restart

bool has_key(const wchar_t* name) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, name, 0, KEY_READ | KEY_WOW64_64KEY, &key) !=
        ERROR_SUCCESS) {
        return false;
    }
    RegCloseKey(key);
    return true;
}

// --- Files

/// The user who runs this process.
const std::vector<BYTE>& own_user() {
    static const auto& user = *new std::vector<BYTE>([] {
        HANDLE opened = nullptr;
        if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened)) {
            fail("OpenProcessToken");
        }
        const unique_handle token(opened);
        DWORD size = 0;
        GetTokenInformation(token.get(), TokenUser, nullptr, 0, &size);
        std::vector<BYTE> content(size);
        if (!GetTokenInformation(token.get(), TokenUser, content.data(), size, &size)) {
            fail("GetTokenInformation");
        }
        return content;
    }());
    return user;
}

bool is_own(const fs::path& path) {
    PSID owner = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD error =
        GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner,
                              nullptr, nullptr, nullptr, &descriptor);
    if (error != ERROR_SUCCESS) {
        fail(text_of(path), error);
    }
    const std::unique_ptr<void, memory_freer> kept(descriptor);
    return EqualSid(owner, reinterpret_cast<const TOKEN_USER*>(own_user().data())->User.Sid) != 0;
}

} // namespace

std::string file_version(const fs::path& file) {
    const unique_library data(
        LoadLibraryExW(fs::absolute(file).c_str(), nullptr,
                       LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE));
    if (!data) {
        return {};
    }
    HRSRC found = FindResourceW(data.get(), MAKEINTRESOURCEW(VS_VERSION_INFO),
                                reinterpret_cast<LPCWSTR>(RT_VERSION));
    if (found == nullptr) {
        return {};
    }
    // Behind three short numbers and the name of the block, which ends at a multiple of four.
    constexpr std::size_t offset = 40;
    VS_FIXEDFILEINFO info{};
    HGLOBAL loaded = LoadResource(data.get(), found);
    const auto* const bytes = static_cast<const BYTE*>(LockResource(loaded));
    if (bytes == nullptr || SizeofResource(data.get(), found) < offset + sizeof info) {
        return {};
    }
    std::memcpy(&info, bytes + offset, sizeof info);
    if (info.dwSignature != VS_FFI_SIGNATURE) {
        return {};
    }
    const auto number = [](WORD part) { return std::to_string(part); };
    return number(HIWORD(info.dwFileVersionMS)) + "." + number(LOWORD(info.dwFileVersionMS)) + "." +
           number(HIWORD(info.dwFileVersionLS)) + "." + number(LOWORD(info.dwFileVersionLS));
}

std::vector<fs::path> loaded_files(std::int64_t process) {
    const unique_handle opened(OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE,
                                           static_cast<DWORD>(process)));
    std::vector<HMODULE> modules(1024);
    DWORD size = 0;
    if (!opened ||
        !K32EnumProcessModules(opened.get(), modules.data(),
                               static_cast<DWORD>(modules.size() * sizeof(HMODULE)), &size)) {
        return {};
    }
    modules.resize(std::min(modules.size(), size / sizeof(HMODULE)));
    std::vector<fs::path> result;
    for (HMODULE each : modules) {
        std::wstring name(32768, L'\0');
        name.resize(K32GetModuleFileNameExW(opened.get(), each, name.data(),
                                            static_cast<DWORD>(name.size())));
        result.emplace_back(name);
    }
    return result;
}

std::optional<std::vector<usb_device>> attached_apple_devices() {
    HMODULE setup = system_library(L"setupapi.dll");
    const device_set set(
        function_of<decltype(SetupDiGetClassDevsW)>(setup, "SetupDiGetClassDevsW")(
            nullptr, L"USB", nullptr, DIGCF_ALLCLASSES | DIGCF_PRESENT),
        function_of<decltype(SetupDiDestroyDeviceInfoList)>(setup, "SetupDiDestroyDeviceInfoList"));
    if (set.get() == INVALID_HANDLE_VALUE) {
        fail("SetupDiGetClassDevsW");
    }
    auto* const next = function_of<decltype(SetupDiEnumDeviceInfo)>(setup, "SetupDiEnumDeviceInfo");
    std::vector<usb_device> result;
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    for (DWORD i = 0; next(set.get(), i, &device); ++i) {
        const auto product = product_of(device_text(setup, set.get(), device, SPDRP_HARDWAREID));
        if (product) {
            std::wstring name = device_text(setup, set.get(), device, SPDRP_FRIENDLYNAME);
            if (name.empty()) {
                name = device_text(setup, set.get(), device, SPDRP_DEVICEDESC);
            }
            result.push_back({*product, utf8_of(name)});
        }
    }
    std::ranges::sort(result, {}, &usb_device::product);
    return result;
}

bool is_on_network(const fs::path& folder) {
    std::wstring root(32768, L'\0');
    if (!GetVolumePathNameW(folder.c_str(), root.data(), static_cast<DWORD>(root.size()))) {
        fail(text_of(folder));
    }
    return GetDriveTypeW(root.c_str()) == DRIVE_REMOTE;
}

std::optional<std::chrono::minutes> time_until_sleep() {
    HMODULE power = system_library(L"powrprof.dll");
    auto* const get_scheme = function_of<DWORD WINAPI(HKEY, GUID**)>(power, "PowerGetActiveScheme");
    auto* const read =
        function_of<DWORD WINAPI(HKEY, const GUID*, const GUID*, const GUID*, DWORD*)>(
            power, "PowerReadACValueIndex");
    GUID* scheme = nullptr;
    if (const DWORD error = get_scheme(nullptr, &scheme); error != ERROR_SUCCESS) {
        fail("PowerGetActiveScheme", error);
    }
    const std::unique_ptr<void, memory_freer> kept(scheme);
    DWORD seconds = 0;
    if (const DWORD error = read(nullptr, scheme, &sleep_settings, &sleep_after, &seconds);
        error != ERROR_SUCCESS) {
        fail("PowerReadACValueIndex", error);
    }
    return std::chrono::ceil<std::chrono::minutes>(std::chrono::seconds(seconds));
}

std::vector<std::string> reasons_for_restart() {
    std::vector<std::string> result;
    if (has_key(L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\WindowsUpdate\\Auto Update\\"
                L"RebootRequired")) {
        result.emplace_back("Windows Update needs it");
    }
    if (has_key(L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Component Based Servicing\\"
                L"RebootPending")) {
        result.emplace_back("Windows' components need it");
    }
    if (RegGetValueW(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\Session Manager",
                     L"PendingFileRenameOperations", RRF_RT_REG_MULTI_SZ, nullptr, nullptr,
                     nullptr) == ERROR_SUCCESS) {
        result.emplace_back("files are replaced at the next start");
    }
    return result;
}

entry_facts look_at(const fs::path& path) {
    WIN32_FILE_ATTRIBUTE_DATA found{};
    if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &found)) {
        fail(text_of(path));
    }
    return {(found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0,
            (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0,
            is_own(path),
            std::max(time_of(found.ftCreationTime), time_of(found.ftLastWriteTime)),
            (std::uint64_t{found.nFileSizeHigh} << 32U) | found.nFileSizeLow,
            0};
}

bool is_in_use(const fs::path&, const std::vector<fs::path>& entries) {
    return std::ranges::any_of(entries, [](const fs::path& each) {
        // Shared with nobody, so that it cannot be opened as long as somebody has it open.
        HANDLE file =
            CreateFileW(each.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                        FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
        if (file == INVALID_HANDLE_VALUE) {
            return true;
        }
        CloseHandle(file);
        return false;
    });
}

std::vector<running_tool> running_processes() {
    const unique_handle all(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    if (all.get() == INVALID_HANDLE_VALUE) {
        fail("CreateToolhelp32Snapshot");
    }
    std::vector<running_tool> result;
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    for (BOOL found = Process32FirstW(all.get(), &entry); found;
         found = Process32NextW(all.get(), &entry)) {
        running_tool process{entry.th32ProcessID, utf8_of(entry.szExeFile), {}};
        const unique_handle opened(
            OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, entry.th32ProcessID));
        FILETIME started{};
        FILETIME ignored{};
        if (opened && GetProcessTimes(opened.get(), &started, &ignored, &ignored, &ignored)) {
            process.started = time_of(started);
        }
        result.push_back(std::move(process));
    }
    return result;
}

} // namespace vandrel::station
