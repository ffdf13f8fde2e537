#pragma once

/// Temporary folders for the tools.

#include "station/host.h"

#include <filesystem>
#include <memory>
#include <string>

namespace vandrel::station {

/// A new folder with a short name and the station's marker in it. The destructor removes it. If
/// that fails, or the process is killed, or `leave` was called, the next `remove_abandoned` of its
/// parent tries to remove it.
class scratch_folder {
public:
    /// Makes `parent`, too, if it is missing. Throws std::exception when anything of this fails.
    explicit scratch_folder(const std::filesystem::path& parent);
    /// Does not wait for files that another program holds.
    ~scratch_folder();
    scratch_folder(const scratch_folder&) = delete;
    scratch_folder& operator=(const scratch_folder&) = delete;

    /// After this call, the destructor does not remove the folder: removing it can take long.
    void leave() { stays_ = true; }

    const std::filesystem::path& path() const { return path_; }

    /// A folder of this name in it, made if it is missing. Throws std::exception when that fails.
    std::filesystem::path make(const std::string& name) const;

    /// Removes what stations that are gone have left in `parent`, as far as it can: folders with a
    /// name of the kind that this class gives, and a marker that nobody holds.
    static void remove_abandoned(const std::filesystem::path& parent);

private:
    std::filesystem::path path_;
    std::unique_ptr<held_file> marker_;
    bool stays_ = false;
};

} // namespace vandrel::station
