#include "station/read_run.h"

#include "station/run_folder.h"
#include "station/run_reader.h"
#include "station/text.h"

#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>

#include <cstdint>
#include <exception>
#include <fstream>
#include <ios>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace vandrel::station {

namespace {

using boost::json::object;

constexpr std::uintmax_t largest_summary = std::uintmax_t{64} * 1024 * 1024;
constexpr std::streamoff longest_end_of_log = std::streamoff{16} * 1024;
constexpr std::size_t lines_of_log = 40;
/// Further failures have no logs in the record.
constexpr std::size_t most_visits_with_logs = 100;

object read_summary(const std::filesystem::path& folder) {
    const std::string why = printable(text_of(folder)) + " is no folder of a run: ";
    const std::filesystem::path file = folder / "summary.json";
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file, error);
    if (error) {
        throw std::runtime_error(why + "there is no summary.json in it");
    }
    if (size <= largest_summary) {
        try {
            std::ifstream stream(file, std::ios::binary);
            const std::string text(std::istreambuf_iterator<char>(stream), {});
            object summary = boost::json::parse(text).as_object();
            if (summary.at("v") == 1 && summary.at("devices").is_array()) {
                return summary;
            }
        } catch (const std::exception&) {
            // The sentence below says it, as for a file that has other things in it.
        }
    }
    throw std::runtime_error(why + "its summary.json is not that of a run");
}

void add_logs(run_record& record, const std::filesystem::path& folder) {
    std::size_t visits = 0;
    for (recorded_visit& each : record.visits) {
        // The name of the try's folder is made of the ECID.
        const bool is_ecid = each.ecid.size() == 16 &&
                             each.ecid.find_first_not_of("0123456789ABCDEF") == std::string::npos;
        if (!is_failure(each) || each.tries == 0 || !is_ecid || ++visits > most_visits_with_logs) {
            continue;
        }
        const auto kept = folder / try_folder(each.ecid, each.visit, static_cast<int>(each.tries));
        for (const char* name : {"diagnostics.txt", "restore.log"}) {
            if (auto lines = last_lines(kept / name, lines_of_log); !lines.empty()) {
                each.logs.push_back({text_of(kept.filename()) + "/" + name, std::move(lines)});
            }
        }
    }
}

} // namespace

std::vector<std::string> last_lines(const std::filesystem::path& file, std::size_t count) {
    std::ifstream stream(file, std::ios::binary | std::ios::ate);
    const std::streamoff size = stream.tellg();
    if (!stream || size <= 0) {
        return {};
    }
    const bool is_long = size > longest_end_of_log;
    stream.seekg(is_long ? size - longest_end_of_log : 0);
    std::vector<std::string> lines;
    std::string line;
    if (is_long) {
        // The rest of a line, most likely.
        std::getline(stream, line);
    }
    while (std::getline(stream, line)) {
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        lines.push_back(line);
    }
    if (lines.size() > count) {
        lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(count));
    }
    return lines;
}

run_record read_run(const std::filesystem::path& folder) {
    // The summary is read first, so that the events are the newer ones.
    const object summary = read_summary(folder);
    run_reader reader;
    {
        std::ifstream events(folder / "events.jsonl", std::ios::binary);
        if (events) {
            reader.take_lines(events);
        }
    }
    reader.take_summary(summary);
    run_record record = reader.finish();
    add_logs(record, folder);
    return record;
}

} // namespace vandrel::station
