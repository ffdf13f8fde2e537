#pragma once

/// A zip file that anybody may have made: whatever it says of itself, it takes little time and
/// memory to open it and to read the first bytes of an entry.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include <zip.h>

namespace vandrel::station {

/// The constructor, `read` and `verify` throw unusable_file (station/bundle.h) when they fail.
class zip_archive {
public:
    /// Opens the file and reads its directory.
    explicit zip_archive(const std::filesystem::path& path);

    const std::filesystem::path& path() const { return path_; }
    /// The size of the file.
    std::uint64_t size() const { return size_; }
    /// How many bytes all entries take unpacked, as the directory says.
    std::uint64_t unpacked_size() const;
    /// The content of the entry of this name; absent if there is no such entry. Of an entry that is
    /// larger than `most`, only its first bytes: more than `most`, by at most 256 KiB.
    std::optional<std::string> read(const char* name, std::size_t most) const;
    /// Unpacks each entry, keeps nothing, and compares its checksum and size.
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
