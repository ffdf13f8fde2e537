#pragma once

/// What to restore with, as far as the station has to know it before anything is touched.

#include "station/device.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vandrel::station {

/// An IPSW: the zip's directory, and the manifest in it. Nothing else is unpacked.
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

/// Throws std::runtime_error with one sentence that names the file and what is wrong with it.
bundle read_bundle(const std::filesystem::path& path);

/// The model of the device that has this chip and board; empty when the bundle is not for it or
/// names several models.
std::string model_of(const bundle& made_for, const device_properties& device);

/// What the station has to know of a file of restore options.
struct restore_options_file {
    bool erases = true;
    /// `RestoreBundlePath`; absent without one that is a text.
    std::optional<std::filesystem::path> bundle;
    /// All of it, as it was read.
    std::string content;
};

/// Throws as read_bundle does, also when two readers of the file could understand it differently.
restore_options_file read_restore_options(const std::filesystem::path& path);

} // namespace vandrel::station
