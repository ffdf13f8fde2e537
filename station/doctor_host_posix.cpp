#include "station/doctor_host_posix.h"

#include "station/doctor_host.h"
#include "station/text.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>

#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace vandrel::station {

namespace {

using std::chrono::system_clock;
namespace fs = std::filesystem;

[[noreturn]] void fail(const fs::path& path) {
    throw std::system_error(errno, std::generic_category(), text_of(path));
}

/// The first line; empty when the file cannot be read.
std::string line_of(const fs::path& file) {
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
}

bool is_in(const fs::path& path, const fs::path& folder) {
    const auto [rest, ignored] = std::ranges::mismatch(folder, path);
    return rest == folder.end();
}

/// The folders of all processes.
std::vector<fs::path> process_folders() {
    std::vector<fs::path> result;
    std::error_code error;
    for (fs::directory_iterator each("/proc", error), end; !error && each != end;
         each.increment(error)) {
        const std::string name = each->path().filename().string();
        if (name.find_first_not_of("0123456789") == std::string::npos) {
            result.push_back(each->path());
        }
    }
    return result;
}

std::string program_name(const fs::path& process) {
    std::error_code error;
    const fs::path program = fs::read_symlink(process / "exe", error);
    if (!error) {
        // Of a file that was removed.
        std::string name = program.filename().string();
        constexpr std::string_view removed = " (deleted)";
        if (name.ends_with(removed)) {
            name.resize(name.size() - removed.size());
        }
        return name;
    }
    // Another user's, or a thread of the kernel.
    return line_of(process / "comm");
}

system_clock::time_point time_of(const timespec& time) {
    return system_clock::time_point(std::chrono::duration_cast<system_clock::duration>(
        std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec)));
}

/// Nothing when the process has gone.
std::optional<system_clock::time_point> start_of(const fs::path& process) {
    const std::string line = line_of(process / "stat");
    // The name before it can have any characters.
    const std::size_t name_end = line.rfind(')');
    if (name_end == std::string::npos) {
        return {};
    }
    std::istringstream rest(line.substr(name_end + 1));
    const std::vector<std::string> words{std::istream_iterator<std::string>(rest), {}};
    constexpr std::size_t start_time = 19;
    if (words.size() <= start_time) {
        return {};
    }
    const std::chrono::seconds after_boot(std::strtoll(words[start_time].c_str(), nullptr, 10) /
                                          sysconf(_SC_CLK_TCK));
    timespec since_boot{};
    clock_gettime(CLOCK_BOOTTIME, &since_boot);
    return system_clock::now() - std::chrono::seconds(since_boot.tv_sec) + after_boot;
}

} // namespace

std::string file_version(const fs::path&) {
    // Files have none here.
    return {};
}

std::vector<fs::path> loaded_files(std::int64_t process) {
    std::vector<fs::path> result;
    std::ifstream maps("/proc/" + std::to_string(process) + "/maps");
    for (std::string line; std::getline(maps, line);) {
        const std::size_t begin = line.find('/');
        if (begin == std::string::npos) {
            continue;
        }
        const fs::path file = line.substr(begin);
        if (std::ranges::find(result, file) == result.end()) {
            result.push_back(file);
        }
    }
    return result;
}

std::optional<std::vector<usb_device>> attached_apple_devices() {
    return apple_devices_in("/sys/bus/usb/devices");
}

std::optional<std::vector<usb_device>> apple_devices_in(const fs::path& root) {
    std::error_code error;
    if (!fs::is_directory(root, error)) {
        return {};
    }
    std::vector<usb_device> result;
    for (const auto& each : fs::directory_iterator(root)) {
        // Interfaces of devices, which are there too, have no such file.
        if (line_of(each.path() / "idVendor") == "05ac") {
            const std::string number = line_of(each.path() / "idProduct");
            result.push_back({static_cast<std::uint16_t>(std::strtoul(number.c_str(), nullptr, 16)),
                              line_of(each.path() / "product")});
        }
    }
    std::ranges::sort(result, {}, &usb_device::product);
    return result;
}

bool is_on_network(const fs::path& folder) {
    struct statfs facts {};
    if (statfs(folder.c_str(), &facts) != 0) {
        fail(folder);
    }
    constexpr std::uint32_t cifs = 0xFF534D42;
    constexpr std::uint32_t smb2 = 0xFE534D42;
    const auto kind = static_cast<std::uint32_t>(facts.f_type);
    return kind == NFS_SUPER_MAGIC || kind == SMB_SUPER_MAGIC || kind == cifs || kind == smb2;
}

std::optional<std::chrono::minutes> time_until_sleep() {
    // Each desktop has its own.
    return {};
}

std::vector<std::string> reasons_for_restart() {
    std::vector<std::string> result;
    std::error_code error;
    // Debian's package manager makes it.
    if (fs::exists("/run/reboot-required", error)) {
        result.emplace_back("/run/reboot-required is there");
    }
    return result;
}

entry_facts look_at(const fs::path& path) {
    struct stat found {};
    if (lstat(path.c_str(), &found) != 0) {
        fail(path);
    }
    return {S_ISLNK(found.st_mode),
            S_ISDIR(found.st_mode),
            found.st_uid == geteuid(),
            time_of(found.st_mtim),
            S_ISREG(found.st_mode) ? static_cast<std::uint64_t>(found.st_size) : 0,
            found.st_dev};
}

bool is_in_use(const fs::path& folder, const std::vector<fs::path>&) {
    // The links of processes name files without links in their paths. Usually, only processes of
    // the same user use the user's own folder, and these can be looked into.
    const fs::path whole = fs::canonical(folder);
    std::error_code error;
    for (const fs::path& process : process_folders()) {
        std::vector<fs::path> used =
            loaded_files(std::strtoll(process.filename().c_str(), nullptr, 10));
        used.push_back(fs::read_symlink(process / "cwd", error));
        for (fs::directory_iterator each(process / "fd", error), end; !error && each != end;
             each.increment(error)) {
            std::error_code closed;
            used.push_back(fs::read_symlink(each->path(), closed));
        }
        if (std::ranges::any_of(used, [&](const fs::path& file) { return is_in(file, whole); })) {
            return true;
        }
    }
    return false;
}

std::vector<running_tool> running_processes() {
    std::vector<running_tool> result;
    for (const fs::path& process : process_folders()) {
        result.push_back({std::strtoll(process.filename().c_str(), nullptr, 10),
                          program_name(process), start_of(process)});
    }
    return result;
}

} // namespace vandrel::station
