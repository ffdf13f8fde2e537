#pragma once

/// The IPSW files of a folder, and what was read of them before.

#include "station/bundle.h"
#include "station/bundle_choice.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vandrel::station {

/// A file's size and the time of its last change, which tell whether it is still the same.
struct file_stamp {
    std::uint64_t size = 0;
    /// In ticks of the file system's clock.
    std::int64_t time = 0;

    bool operator==(const file_stamp&) const = default;
};

/// What is known of one file.
struct bundle_file {
    std::filesystem::path path;
    file_stamp stamp;
    /// Null when the file cannot be used.
    std::shared_ptr<const bundle> content;
    /// Why it cannot, without the file's name, such as "is still being copied"; empty otherwise.
    std::string problem;
    /// The problem can go away without a change of the file, so that it is not kept.
    bool is_passing = false;
    /// All sums were compared, and were right.
    bool is_verified = false;
};

/// The files whose name ends in ".ipsw", in upper or lower case. A folder with such a name is one
/// that cannot be used. Folders in the folder are not searched. One thread at a time.
class bundle_folder {
public:
    struct settings {
        std::filesystem::path folder;
        /// The file that keeps for later processes what was read; empty: nothing is kept.
        std::filesystem::path cache;
        std::function<bundle(const std::filesystem::path&)> read = read_bundle;
        /// Called in a look, when reading this file takes longer than `slow`; may be empty.
        std::function<void(const std::filesystem::path&)> is_slow = {};
        std::chrono::milliseconds slow = std::chrono::milliseconds(800);
        /// A file that has changed within this time is still being written.
        std::chrono::milliseconds at_rest = std::chrono::seconds(2);
    };

    explicit bundle_folder(settings how);
    ~bundle_folder();

    /// All files in the order of their names. One that was read before and has not changed since is
    /// not read again, unless it had a passing problem. Threads read the files: if a disk keeps one
    /// thread waiting, another one goes on with the other files. If no file has been read for
    /// `patience`, the files that are left get a passing problem, and a later look has them. Throws
    /// std::runtime_error with one sentence when the folder cannot be listed.
    const std::vector<bundle_file>& look(std::chrono::milliseconds patience);

    /// Unpacks the bundle of this place in the last look, unless it cannot be used or was verified
    /// before.
    void verify(std::size_t place);

private:
    struct reader;

    std::vector<bundle_file> list() const;
    std::vector<bundle_file> take_known();
    void read_others(const std::vector<bundle_file>& unknown, std::chrono::milliseconds patience);
    void save() const;

    settings how_;
    /// By path, as the cache or the last look had them.
    std::map<std::filesystem::path, bundle_file> known_;
    std::vector<bundle_file> files_;
    /// The threads share it, and may outlive this object.
    std::shared_ptr<reader> reader_;
};

/// Those that can be used, newest first.
bundle_list usable(const std::vector<bundle_file>& files);

/// The file in the user's local data that keeps what was read of the folder; empty when there is no
/// place for it.
std::filesystem::path cache_of(const std::filesystem::path& folder);

} // namespace vandrel::station
