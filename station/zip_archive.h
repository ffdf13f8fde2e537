#pragma once

/// A zip file that anybody may have made: whatever it says of itself, reading it takes little time
/// and memory.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include <zip.h>

namespace vandrel::station {

/// All that fails throws unusable_file (station/bundle.h).
class zip_archive {
public:
    /// Reads the directory.
    explicit zip_archive(const std::filesystem::path& path);

    const std::filesystem::path& path() const { return path_; }
    /// Of the file.
    std::uint64_t size() const { return size_; }
    /// What all entries take unpacked, by the directory.
    std::uint64_t unpacked_size() const;
    /// The content of the entry of this name; absent if there is none. Of an entry that is larger
    /// than `most`, only a little more than `most` bytes.
    std::optional<std::string> read(const char* name, std::size_t most) const;
    /// Unpacks each entry, keeps nothing, and compares its sum and size.
    void verify() const;

private:
    struct discarder {
        void operator()(zip_t* zip) const { zip_discard(zip); }
    };

    std::filesystem::path path_;
    std::uint64_t size_ = 0;
    std::unique_ptr<zip_t, discarder> zip_;
};

} // namespace vandrel::station
