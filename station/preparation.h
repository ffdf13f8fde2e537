#pragma once

/// From what was asked for to what can be run: all files are read, the folder for scratch is made
/// if it is missing, and no device is touched.

#include "station/bundle.h"
#include "station/bundle_folder.h"
#include "station/command_line.h"
#include "station/device_lister.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace vandrel::station {

/// A command that cannot be carried out. The text is one sentence for people.
struct refusal : std::runtime_error {
    refusal(int exit_status, const std::string& text)
        : std::runtime_error(text), status(exit_status) {}
    int status;
};

struct run_settings {
    station_arguments arguments;
    /// Complete: what files have to say is in it.
    bench_options options;
    std::optional<bundle> made_for;
    /// Of `--bundles`; null without.
    std::shared_ptr<bundle_folder> folder;
    /// How many of its files cannot be used.
    std::size_t unusable_files = 0;
    /// The content of the file of restore options that was judged. Tools get this, and not the
    /// file, which can change while they run.
    std::string restore_options;
    slot_names slots;
    std::filesystem::path scratch;
    std::filesystem::path run_folder;
    std::uint64_t free_bytes = 0;
};

/// Where runs have their folders unless the user names one. Throws std::runtime_error when there is
/// no place for them.
std::filesystem::path runs_folder();

/// Throws refusal.
bundle read_named_bundle(const std::string& file);

/// With a cache, if there is a place for it, and with a line on standard error for each file that
/// takes long to read.
std::shared_ptr<bundle_folder> open_bundle_folder(const std::string& folder);

/// Waits for slow disks, but not when no file has been read for 30 seconds. Throws refusal.
const std::vector<bundle_file>& look_into(bundle_folder& folder);

/// Throws refusal.
slot_names read_slots(const std::string& file);

/// Throws refusal.
run_settings prepare(station_arguments arguments);

} // namespace vandrel::station
