#include "station/report_run.h"

#include "station/host.h"
#include "station/preparation.h"
#include "station/read_run.h"
#include "station/replace_file.h"
#include "station/report_page.h"
#include "station/text.h"
#include "station/version.h"

#include <chrono>
#include <stdexcept>
#include <string>
#include <system_error>

namespace vandrel::station {

namespace {

constexpr int usage = static_cast<int>(early_exit::usage);

std::filesystem::path folder_of(const station_arguments& arguments) {
    if (!arguments.run_folder.empty()) {
        return path_of(arguments.run_folder);
    }
    const std::filesystem::path runs = runs_folder();
    if (auto newest = newest_run(runs)) {
        return *newest;
    }
    throw refusal(usage, "there is no run in " + printable(text_of(runs)));
}

void write_page(const std::filesystem::path& file, const std::string& content) {
    if (const auto why = replace_file(file, content)) {
        throw refusal(usage, printable(text_of(file)) + " cannot be written" +
                                 (why->empty() ? "" : ": " + *why));
    }
}

} // namespace

std::optional<std::filesystem::path> newest_run(const std::filesystem::path& runs) {
    std::optional<std::filesystem::path> newest;
    std::error_code error;
    for (std::filesystem::directory_iterator each(runs, error), end; !error && each != end;
         each.increment(error)) {
        // Names begin with the time of the start.
        std::error_code ignored;
        if ((!newest || newest->filename() < each->path().filename()) &&
            std::filesystem::exists(each->path() / "summary.json", ignored)) {
            newest = each->path();
        }
    }
    return newest;
}

int run_report(const station_arguments& arguments) {
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::absolute(folder_of(arguments), error);
    const std::filesystem::path page =
        arguments.output.empty() ? folder / "report.html"
                                 : std::filesystem::absolute(path_of(arguments.output), error);
    try {
        const run_record run = read_run(folder);
        write_page(page, report_page(run, {rfc3339(std::chrono::system_clock::now()),
                                           text_of(folder), version}));
    } catch (const refusal&) {
        throw;
    } catch (const std::runtime_error& why) {
        throw refusal(usage, why.what());
    }
    write_all(standard_stream::out, printable(text_of(page)) + "\n");
    return 0;
}

} // namespace vandrel::station
