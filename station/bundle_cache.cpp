#include "station/bundle_cache.h"

#include "station/event_json.h"
#include "station/replace_file.h"
#include "station/text.h"
#include "station/version.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>
#include <boost/json/value_to.hpp>

#include <exception>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

namespace vandrel::station {

namespace {

using boost::json::array;
using boost::json::object;
using boost::json::value_to;

constexpr std::uintmax_t largest_cache = std::uintmax_t{64} * 1024 * 1024;

array json_of(const build_identity& identity) {
    array result{identity.chip_id, identity.board_id};
    if (identity.behavior) {
        result.emplace_back(*identity.behavior == restore_behavior::erase);
    }
    return result;
}

build_identity identity_in(const array& each) {
    build_identity result{value_to<std::uint32_t>(each.at(0)), value_to<std::uint32_t>(each.at(1))};
    if (each.size() > 2) {
        result.behavior = each.at(2).as_bool() ? restore_behavior::erase : restore_behavior::update;
    }
    return result;
}

object json_of(const bundle_file& file) {
    object result{{"name", json_text(text_of(file.path.filename()))},
                  {"size", file.stamp.size},
                  {"time", file.stamp.time}};
    if (!file.content) {
        result["problem"] = json_text(file.problem);
        return result;
    }
    const bundle& known = *file.content;
    result["version"] = json_text(known.version);
    result["build"] = json_text(known.build);
    result["unpacked_size"] = known.unpacked_size;
    result["verified"] = file.is_verified;
    result["models"] = json_texts(known.models);
    array identities;
    for (const build_identity& each : known.identities) {
        identities.push_back(json_of(each));
    }
    result["identities"] = std::move(identities);
    return result;
}

bundle_file file_in(const object& kept, const std::filesystem::path& folder) {
    bundle_file result;
    result.path = folder / path_of(value_to<std::string>(kept.at("name")));
    result.stamp = {value_to<std::uint64_t>(kept.at("size")),
                    value_to<std::int64_t>(kept.at("time"))};
    if (const auto* problem = kept.if_contains("problem")) {
        result.problem = value_to<std::string>(*problem);
        return result;
    }
    bundle known;
    known.path = result.path;
    known.size = result.stamp.size;
    known.unpacked_size = value_to<std::uint64_t>(kept.at("unpacked_size"));
    known.version = value_to<std::string>(kept.at("version"));
    known.build = value_to<std::string>(kept.at("build"));
    known.models = value_to<std::vector<std::string>>(kept.at("models"));
    for (const auto& each : kept.at("identities").as_array()) {
        known.identities.push_back(identity_in(each.as_array()));
    }
    result.is_verified = kept.at("verified").as_bool();
    result.content = std::make_shared<const bundle>(std::move(known));
    return result;
}

} // namespace

std::vector<bundle_file> load_cache(const std::filesystem::path& file,
                                    const std::filesystem::path& folder) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file, error);
    if (error || size > largest_cache) {
        return {};
    }
    try {
        std::ifstream stream(file, std::ios::binary);
        const std::string text(std::istreambuf_iterator<char>(stream), {});
        const auto kept = boost::json::parse(text);
        const object& root = kept.as_object();
        if (value_to<std::string>(root.at("version")) != version ||
            value_to<std::string>(root.at("folder")) != json_text(text_of(folder))) {
            return {};
        }
        std::vector<bundle_file> result;
        for (const auto& each : root.at("files").as_array()) {
            result.push_back(file_in(each.as_object(), folder));
        }
        return result;
    } catch (const std::exception&) {
        return {};
    }
}

void save_cache(const std::filesystem::path& file, const std::filesystem::path& folder,
                const std::map<std::filesystem::path, bundle_file>& files) {
    if (file.empty()) {
        return;
    }
    array kept;
    for (const auto& [path, each] : files) {
        kept.push_back(json_of(each));
    }
    const object root{
        {"version", version}, {"folder", json_text(text_of(folder))}, {"files", std::move(kept)}};
    std::error_code ignored;
    std::filesystem::create_directories(file.parent_path(), ignored);
    // Without it, the next look reads the files again.
    static_cast<void>(replace_file(file, ascii_json(root) + "\n"));
}

} // namespace vandrel::station
