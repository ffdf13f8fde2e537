#pragma once

/// Where tools keep what they need for a while.

#include "station/host.h"

#include <filesystem>
#include <memory>
#include <string>

namespace vandrel::station {

/// A new folder with a short name, which carries the station's marker. It is removed at the end,
/// or, when this process is killed or leaves it, by whoever calls `remove_abandoned` next.
class scratch_folder {
public:
    /// Throws std::exception when it cannot be made.
    explicit scratch_folder(const std::filesystem::path& parent);
    /// Does not wait for files that another program holds.
    ~scratch_folder();
    scratch_folder(const scratch_folder&) = delete;
    scratch_folder& operator=(const scratch_folder&) = delete;

    /// It is not removed at the end, which can take long.
    void leave() { stays_ = true; }

    const std::filesystem::path& path() const { return path_; }

    /// A new, empty folder in it.
    std::filesystem::path make(const std::string& name) const;

    /// Removes what killed stations have left in `parent`: folders with the marker that nobody
    /// holds.
    static void remove_abandoned(const std::filesystem::path& parent);

private:
    std::filesystem::path path_;
    std::unique_ptr<held_file> marker_;
    bool stays_ = false;
};

} // namespace vandrel::station
