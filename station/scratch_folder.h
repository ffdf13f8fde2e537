#pragma once

/// Where tools keep what they need for a while.

#include "station/host.h"

#include <filesystem>
#include <memory>
#include <string>

namespace vandrel::station {

/// A new folder with a short name and the station's marker in it. The destructor removes it. If
/// that fails, or the process is killed or leaves the folder, the next `remove_abandoned` does.
class scratch_folder {
public:
    /// Makes `parent`, too, if it is missing. Throws std::exception when that fails.
    explicit scratch_folder(const std::filesystem::path& parent);
    /// Does not wait for files that another program holds.
    ~scratch_folder();
    scratch_folder(const scratch_folder&) = delete;
    scratch_folder& operator=(const scratch_folder&) = delete;

    /// The destructor does not remove it, because that can take long.
    void leave() { stays_ = true; }

    const std::filesystem::path& path() const { return path_; }

    /// A new, empty folder in it.
    std::filesystem::path make(const std::string& name) const;

    /// Removes what stations that are gone have left in `parent`: folders with a marker that nobody
    /// holds.
    static void remove_abandoned(const std::filesystem::path& parent);

private:
    std::filesystem::path path_;
    std::unique_ptr<held_file> marker_;
    bool stays_ = false;
};

} // namespace vandrel::station
