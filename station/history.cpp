#include "station/history.h"

#include "station/event_json.h"
#include "station/host.h"
#include "station/replace_file.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>
#include <boost/json/value_to.hpp>

#include <algorithm>
#include <exception>
#include <fstream>
#include <map>
#include <optional>
#include <stdexcept>
#include <system_error>

namespace vandrel::station {

namespace {

using boost::json::value_to;

constexpr std::size_t longest_line = std::size_t{16} * 1024;
constexpr std::uintmax_t largest_file = most_tries * longest_line;

std::string line_of(const restored_try& each) {
    boost::json::array operations;
    for (const operation_time& one : each.operations) {
        operations.push_back(boost::json::array{one.operation, one.length.count()});
    }
    return ascii_json(boost::json::object{{"chip_id", each.kind.chip_id},
                                          {"board_id", each.kind.board_id},
                                          {"build", json_text(each.kind.build)},
                                          {"erase", each.kind.erases},
                                          {"operations_ms", std::move(operations)}}) +
           "\n";
}

std::optional<restored_try> try_in(const std::string& line) {
    try {
        const auto kept = boost::json::parse(line);
        const auto& root = kept.as_object();
        restored_try result{{value_to<std::uint32_t>(root.at("chip_id")),
                             value_to<std::uint32_t>(root.at("board_id")),
                             value_to<std::string>(root.at("build")), root.at("erase").as_bool()},
                            {}};
        for (const auto& each : root.at("operations_ms").as_array()) {
            const auto& pair = each.as_array();
            // Sums of these stay far from the largest number.
            const auto length = value_to<std::uint32_t>(pair.at(1));
            result.operations.push_back(
                {value_to<std::int32_t>(pair.at(0)), awake_time(std::int64_t{length})});
        }
        return result;
    } catch (const std::exception&) {
        return {};
    }
}

/// The newest first.
std::vector<const restored_try*> worth_keeping(const std::vector<restored_try>& tries) {
    std::vector<const restored_try*> result;
    std::map<restore_kind, std::size_t> taken;
    for (auto each = tries.rbegin(); each != tries.rend() && result.size() < most_tries; ++each) {
        if (++taken[each->kind] <= most_tries_of_a_kind) {
            result.push_back(&*each);
        }
    }
    return result;
}

} // namespace

std::filesystem::path history_file() {
    try {
        return local_data_folder() / "vandrel" / "history.jsonl";
    } catch (const std::runtime_error&) {
        return {};
    }
}

std::vector<restored_try> load_history(const std::filesystem::path& file) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file, error);
    if (error || size > largest_file) {
        return {};
    }
    std::vector<restored_try> result;
    std::ifstream stream(file, std::ios::binary);
    for (std::string line; std::getline(stream, line);) {
        if (auto each = line.size() < longest_line ? try_in(line) : std::nullopt) {
            result.push_back(std::move(*each));
        }
    }
    return result;
}

void add_to_history(const std::filesystem::path& file, const restored_try& newest) {
    if (file.empty() || line_of(newest).size() > longest_line) {
        return;
    }
    std::vector<restored_try> tries = load_history(file);
    tries.push_back(newest);
    const auto kept = worth_keeping(tries);
    std::string content;
    for (auto each = kept.rbegin(); each != kept.rend(); ++each) {
        content += line_of(**each);
    }
    std::error_code ignored;
    std::filesystem::create_directories(file.parent_path(), ignored);
    // Without it, the next runs know less.
    static_cast<void>(replace_file(file, content));
}

} // namespace vandrel::station
