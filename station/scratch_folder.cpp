#include "station/scratch_folder.h"

#include "station/text.h"

#include <random>
#include <system_error>
#include <utility>
#include <vector>

namespace vandrel::station {

namespace {

constexpr std::string_view name_begin = "vs-";
constexpr const char* marker_name = "vandrel-station.marker";

std::string random_name() {
    constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyz0123456789";
    std::random_device source;
    std::uniform_int_distribution<std::size_t> any(0, letters.size() - 1);
    std::string name(name_begin);
    for (int i = 0; i < 6; ++i) {
        name += letters[any(source)];
    }
    return name;
}

/// Removes the marker last. When another program holds a file in the folder, the marker stays, and
/// the next run finds the folder by it.
void remove_marked(const std::filesystem::path& folder, std::unique_ptr<held_file> marker) {
    std::error_code error;
    std::vector<std::filesystem::path> others;
    for (std::filesystem::directory_iterator each(folder, error), end; !error && each != end;
         each.increment(error)) {
        if (each->path().filename() != marker_name) {
            others.push_back(each->path());
        }
    }
    for (const auto& each : others) {
        std::filesystem::remove_all(each, error);
        if (error) {
            return;
        }
    }
    marker.reset();
    std::filesystem::remove_all(folder, error);
}

} // namespace

scratch_folder::scratch_folder(const std::filesystem::path& parent) {
    std::filesystem::create_directories(parent);
    do {
        path_ = parent / random_name();
    } while (!std::filesystem::create_directory(path_));
    marker_ = held_file::make(path_ / marker_name);
}

scratch_folder::~scratch_folder() {
    if (!stays_) {
        remove_marked(path_, std::move(marker_));
    }
}

std::filesystem::path scratch_folder::make(const std::string& name) const {
    std::filesystem::path folder = path_ / name;
    std::filesystem::create_directory(folder);
    return folder;
}

void scratch_folder::remove_abandoned(const std::filesystem::path& parent) {
    std::error_code error;
    std::vector<std::filesystem::path> folders;
    for (std::filesystem::directory_iterator each(parent, error), end; !error && each != end;
         each.increment(error)) {
        std::error_code other;
        if (text_of(each->path().filename()).starts_with(name_begin) &&
            std::filesystem::is_directory(each->symlink_status(other))) {
            folders.push_back(each->path());
        }
    }
    for (const auto& each : folders) {
        if (auto marker = held_file::take(each / marker_name)) {
            remove_marked(each, std::move(marker));
        }
    }
}

} // namespace vandrel::station
