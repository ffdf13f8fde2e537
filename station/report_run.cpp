#include "station/report_run.h"

#include "station/host.h"
#include "station/preparation.h"
#include "station/read_run.h"
#include "station/report_page.h"
#include "station/text.h"
#include "station/version.h"

#include <chrono>
#include <fstream>
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

void replace_file(const std::filesystem::path& file, const std::string& content) {
    std::filesystem::path unfinished = file;
    // Another process may make the same page.
    unfinished += "." + std::to_string(own_process_number());
    std::error_code error;
    bool is_written = false;
    {
        std::ofstream stream(unfinished, std::ios::binary);
        stream.write(content.data(), static_cast<std::streamsize>(content.size()));
        stream.close();
        is_written = static_cast<bool>(stream);
    }
    if (is_written) {
        std::filesystem::rename(unfinished, file, error);
    }
    if (!is_written || error) {
        std::error_code ignored;
        std::filesystem::remove(unfinished, ignored);
        throw refusal(usage, printable(text_of(file)) + " cannot be written" +
                                 (error ? ": " + error.message() : ""));
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
        replace_file(page, report_page(run, {rfc3339(std::chrono::system_clock::now()),
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
