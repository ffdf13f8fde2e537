#include "station/bundles_run.h"

#include "station/event_json.h"
#include "station/host.h"
#include "station/preparation.h"
#include "station/table.h"
#include "station/text.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstdint>
#include <optional>

namespace vandrel::station {

namespace {

/// Whether any build identity is for this. One that does not say is.
bool is_for(const bundle& known, restore_behavior behavior) {
    return std::ranges::any_of(known.identities, [behavior](const build_identity& each) {
        return each.behavior.value_or(behavior) == behavior;
    });
}

boost::json::object json_of(const bundle_file& file) {
    boost::json::object result{{"file", json_text(text_of(file.path.filename()))}};
    if (!file.content) {
        result["problem"] = json_text(file.problem);
        result["passing"] = file.is_passing;
        return result;
    }
    const bundle& known = *file.content;
    result["version"] = json_text(known.version);
    result["build"] = json_text(known.build);
    result["models"] = json_texts(known.models);
    result["size"] = known.size;
    result["unpacked_size"] = known.unpacked_size;
    result["erase"] = is_for(known, restore_behavior::erase);
    result["update"] = is_for(known, restore_behavior::update);
    result["verified"] = file.is_verified;
    return result;
}

std::string json_of(const std::filesystem::path& folder, const std::vector<bundle_file>& files) {
    boost::json::array all;
    for (const bundle_file& each : files) {
        all.push_back(json_of(each));
    }
    return ascii_json(boost::json::object{
               {"v", 1}, {"folder", json_text(text_of(folder))}, {"bundles", std::move(all)}}) +
           "\n";
}

std::string name_of_file(const bundle_file& file) {
    return printable(text_of(file.path.filename()));
}

void verify_all(bundle_folder& folder, const std::vector<bundle_file>& files) {
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (files[i].content && !files[i].is_verified) {
            write_all(standard_stream::error,
                      fmt::format("vandrel-station: unpacking {}, {}\n", name_of_file(files[i]),
                                  size_text(files[i].stamp.size)));
            folder.verify(i);
        }
    }
}

} // namespace

std::string bundle_table(const std::vector<bundle_file>& files) {
    std::vector<const bundle_file*> good;
    std::vector<table_row> bad;
    std::uint64_t size = 0;
    for (const bundle_file& each : files) {
        if (each.content) {
            good.push_back(&each);
            size += each.stamp.size;
        } else {
            bad.push_back({name_of_file(each), each.problem});
        }
    }
    std::ranges::sort(good, [](const bundle_file* left, const bundle_file* right) {
        if (left->content->models != right->content->models) {
            return left->content->models < right->content->models;
        }
        return is_older_build(right->content->build, left->content->build);
    });
    std::string text;
    if (!good.empty()) {
        std::vector<table_row> rows{{"VERSION", "BUILD", "SIZE", "SUMS", "FILE", "MODELS"}};
        for (const bundle_file* each : good) {
            const bundle& known = *each->content;
            rows.push_back({printable(known.version), printable(known.build), size_text(known.size),
                            each->is_verified ? "right" : "-", name_of_file(*each),
                            printable(fmt::format("{}", fmt::join(known.models, ", ")))});
        }
        text = aligned(rows) +
               fmt::format("{}, {}.\n", number_of(good.size(), "bundle"), size_text(size));
    }
    if (!bad.empty()) {
        text += fmt::format("{} cannot be used:\n{}", number_of(bad.size(), "file"), aligned(bad));
    }
    return text.empty() ? "No file in this folder has a name that ends in .ipsw.\n" : text;
}

int run_bundles(const station_arguments& arguments) {
    const auto folder = open_bundle_folder(arguments.bundles);
    const std::vector<bundle_file>& files = look_into(*folder);
    if (arguments.verify) {
        verify_all(*folder, files);
    }
    write_all(standard_stream::out,
              arguments.json ? json_of(path_of(arguments.bundles), files) : bundle_table(files));
    constexpr int no_file = 3;
    if (files.empty()) {
        return no_file;
    }
    return std::ranges::all_of(files, [](const auto& each) { return each.content != nullptr; }) ? 0
                                                                                                : 1;
}

} // namespace vandrel::station
