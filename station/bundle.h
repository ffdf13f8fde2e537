#pragma once

/// What to restore with, as far as the station has to know it before anything is touched.

#include "station/device.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace vandrel::station {

/// `what` is one sentence that names the file.
struct unusable_file : std::runtime_error {
    unusable_file(const std::filesystem::path& path, const std::string& why);
    /// The sentence without the file, such as "is no IPSW: ...".
    std::string why;
};

/// What is known of an IPSW: from the zip's directory, and from the manifest in it.
struct bundle {
    std::filesystem::path path;
    std::uint64_t size = 0;
    /// What all of it takes unpacked, by the zip's directory.
    std::uint64_t unpacked_size = 0;
    /// "17.1" and "21B80"; empty where the manifest has none.
    std::string version;
    std::string build;
    /// Such as "iPhone14,2".
    std::vector<std::string> models;
    std::vector<build_identity> identities;
};

/// Throws unusable_file.
bundle read_bundle(const std::filesystem::path& path);

/// Unpacks everything in it, keeps nothing, and compares the sums. Throws unusable_file. As slow as
/// the disk and the processor.
void verify_bundle(const std::filesystem::path& path);

/// What the station has to know of a file of restore options.
struct restore_options_file {
    bool erases = true;
    /// `RestoreBundlePath`; absent when the file has none, or one that is empty or no text.
    std::optional<std::filesystem::path> bundle;
    /// All of it, as it was read.
    std::string content;
};

/// Throws unusable_file, also when two readers of the file could understand it differently.
restore_options_file read_restore_options(const std::filesystem::path& path);

} // namespace vandrel::station
