#include "station/doctor_run.h"

#include "station/bundle_choice.h"
#include "station/doctor_host.h"
#include "station/event_json.h"
#include "station/host.h"
#include "station/preparation.h"
#include "station/scratch_folder.h"
#include "station/text.h"
#include "station/version.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace vandrel::station {

namespace {

namespace fs = std::filesystem;
using std::chrono::steady_clock;

std::string lower_case(std::string text) {
    std::ranges::transform(text, text.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return text;
}

/// The name of a library without what each host adds, in lower case.
std::string library_name(const fs::path& file) {
    std::string name = lower_case(text_of(file.stem()));
    constexpr std::string_view begin = "lib";
    return name.starts_with(begin) ? name.substr(begin.size()) : name;
}

bool is_apples(const fs::path& file) {
    constexpr std::array<std::string_view, 3> names = {"corefoundation", "mobiledevice",
                                                       "itunesmobiledevice"};
    return std::ranges::find(names, library_name(file)) != names.end();
}

std::vector<versioned_file> apple_libraries_in(std::int64_t process) {
    std::vector<versioned_file> result;
    for (const fs::path& each : loaded_files(process)) {
        if (is_apples(each)) {
            result.push_back({each, file_version(each)});
        }
    }
    return result;
}

/// The first line that has anything.
std::string first_line(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    for (std::string line; std::getline(stream, line);) {
        line.erase(line.find_last_not_of(" \t\r") + 1);
        if (!line.empty()) {
            return line;
        }
    }
    return {};
}

/// One list of the tool, which is ended when it takes too long.
class tool_question {
public:
    tool_question(const station_arguments& arguments, const fs::path& folder)
        : times_(arguments.options.times), folder_(folder), limit_(steady_clock::now()) {
        std::vector<std::string> words{"--list-devices"};
        if (arguments.list_seconds) {
            words.insert(words.end(),
                         {"--detect-timeout", std::to_string(*arguments.list_seconds)});
        }
        tool_handlers handlers;
        handlers.arrived = [this](const record& each) { records_.push_back(each); };
        handlers.stream_ended = [this] { is_stream_over_ = true; };
        handlers.process_ended = [this](int status) {
            exit_status_ = status;
            // Another process may hold its pipe.
            limit_ = std::min(limit_, steady_clock::now() + times_.stream_after_process);
        };
        limit_ += times_.list_limit;
        process_ = tool_process::start(context(), arguments.tool, words, folder, handlers);
    }
    ~tool_question() {
        process_->release();
        process_->terminate();
    }
    tool_question(const tool_question&) = delete;
    tool_question& operator=(const tool_question&) = delete;

    tool_answer answer() {
        const auto guard = boost::asio::make_work_guard(context());
        tool_answer result;
        // The tool loads two libraries. Once both were seen, its process is not looked into again.
        while (steady_clock::now() < limit_ && !(exit_status_ && is_stream_over_)) {
            context().run_one_for(std::chrono::milliseconds(50));
            if (!exit_status_ && result.libraries.size() < 2) {
                auto seen = apple_libraries_in(process_->number());
                if (seen.size() > result.libraries.size()) {
                    result.libraries = std::move(seen);
                }
            }
        }
        judge(result);
        return result;
    }

private:
    /// Never destroyed: handlers of a process that does not end may stay for ever.
    static boost::asio::io_context& context() {
        static auto& only = *new boost::asio::io_context(1);
        return only;
    }

    void judge(tool_answer& result) const {
        for (const record& each : records_) {
            if (const auto* list = std::get_if<device_list_record>(&each)) {
                result.devices = list->ecids.size();
                return;
            }
            if (const auto* error = std::get_if<internal_error_record>(&each)) {
                result.text = error->error.text;
            }
        }
        result.how = exit_status_ ? tool_answer::outcome::no_list : tool_answer::outcome::timed_out;
        result.exit_status = exit_status_.value_or(0);
        if (result.text.empty()) {
            result.text = first_line(folder_ / tool_process::diagnostics_name);
        }
    }

    const bench_times times_;
    const fs::path folder_;
    steady_clock::time_point limit_;
    std::shared_ptr<tool_process> process_;
    std::vector<record> records_;
    std::optional<int> exit_status_;
    bool is_stream_over_ = false;
};

/// The folder, or the nearest folder above it that is there.
fs::path nearest_folder(fs::path folder) {
    folder = fs::absolute(folder);
    while (!fs::exists(folder) && folder.has_relative_path()) {
        folder = folder.parent_path();
    }
    return folder;
}

class this_computer final : public doctor_host {
public:
    explicit this_computer(station_arguments arguments) : arguments_(std::move(arguments)) {}

    tool_answer ask_tool() override {
        const versioned_file program{path_of(arguments_.tool.program),
                                     file_version(path_of(arguments_.tool.program))};
        const scratch_folder scratch(fs::temp_directory_path());
        std::optional<tool_question> question;
        try {
            question.emplace(arguments_, scratch.make("list"));
        } catch (const std::exception& error) {
            tool_answer none;
            none.how = tool_answer::outcome::not_started;
            none.program = program;
            none.text = error.what();
            return none;
        }
        tool_answer answer = question->answer();
        answer.program = program;
        return answer;
    }

    std::optional<std::vector<usb_device>> apple_devices() override {
        return attached_apple_devices();
    }

    scratch_room room() override {
        const fs::path folder = nearest_folder(
            arguments_.scratch.empty() ? fs::temp_directory_path() : path_of(arguments_.scratch));
        try {
            // Whether tools can write there.
            const scratch_folder tried(folder);
            return {folder, fs::space(folder).available};
        } catch (const std::system_error& error) {
            throw std::runtime_error(text_of(folder) +
                                     " cannot be used for scratch: " + error.code().message());
        }
    }

    bundle_room bundles() override {
        const auto folder = open_bundle_folder(arguments_.bundles);
        const std::vector<bundle_file>& files = look_into_folder(*folder);
        const bundle_list found = usable(files);
        bundle_room result{found.size(), files.size() - found.size(), 0,
                           is_on_network(fs::absolute(path_of(arguments_.bundles)))};
        for (const auto& each : found) {
            result.largest = std::max(result.largest, room_for(*each));
        }
        return result;
    }

    std::optional<std::chrono::minutes> sleeps_after() override { return time_until_sleep(); }
    std::vector<std::string> pending_restart() override { return reasons_for_restart(); }
    fs::path temporary_folder() override { return fs::temp_directory_path(); }

    std::vector<left_folder> left_folders() override {
        std::vector<left_folder> result;
        for (const auto& each : fs::directory_iterator(fs::temp_directory_path())) {
            if (is_scratch_name(text_of(each.path().filename())) &&
                is_folder_or_link(each.path())) {
                result.push_back(look_into(each.path()));
            }
        }
        std::ranges::sort(result, {}, &left_folder::path);
        return result;
    }

    std::vector<running_tool> running_tools() override {
        std::vector<running_tool> all = running_processes();
        std::erase_if(all, [this](const running_tool& each) { return !is_tool(each); });
        return all;
    }

    void remove(const fs::path& folder) override { fs::remove_all(folder); }
    std::chrono::system_clock::time_point now() override {
        return std::chrono::system_clock::now();
    }

private:
    /// Tools make nothing else with such a name. What has just gone is neither.
    static bool is_folder_or_link(const fs::path& path) {
        try {
            const entry_facts facts = look_at(path);
            return facts.is_folder || facts.is_link;
        } catch (const std::exception&) {
            return false;
        }
    }

    /// Waits for a slow disk, for each file less long than the check may take.
    static const std::vector<bundle_file>& look_into_folder(bundle_folder& folder) {
        return folder.look(std::chrono::seconds(20));
    }

    /// Also one whose program has been renamed: it loads the library under its own name.
    bool is_tool(const running_tool& process) const {
        const std::string name = lower_case(process.name);
        const fs::path given = path_of(arguments_.tool.program);
        if (name == lower_case(text_of(given.filename()))) {
            return true;
        }
        if (name.starts_with("vandrel-station") || name.starts_with("vandrel-check-platform")) {
            return false;
        }
        return name.starts_with("vandrel") ||
               std::ranges::any_of(loaded_files(process.number), [](const fs::path& file) {
                   return library_name(file) == "vandrel";
               });
    }

    const station_arguments arguments_;
};

} // namespace

bool is_scratch_name(const std::string& name) {
    constexpr std::string_view begin = "vandrel.";
    return name.size() == begin.size() + 6 && name.starts_with(begin) &&
           name.find_first_not_of("0123456789abcdef", begin.size()) == std::string::npos;
}

left_folder look_into(const fs::path& folder) {
    left_folder result;
    result.path = folder;
    std::vector<fs::path> entries;
    std::vector<fs::path> to_look_at{folder};
    std::optional<std::uint64_t> volume;
    try {
        while (!to_look_at.empty()) {
            const fs::path path = std::move(to_look_at.back());
            to_look_at.pop_back();
            const entry_facts facts = look_at(path);
            result.is_own = result.is_own && facts.is_own;
            result.changed = std::max(result.changed, facts.changed);
            result.size += facts.size;
            entries.push_back(path);
            if (facts.is_link || facts.volume != volume.value_or(facts.volume)) {
                result.has_link = true;
                continue;
            }
            volume = facts.volume;
            if (facts.is_folder) {
                for (const auto& each : fs::directory_iterator(path)) {
                    to_look_at.push_back(each.path());
                }
            }
        }
        result.is_open = !result.has_link && is_in_use(folder, entries);
    } catch (const std::exception& error) {
        result.problem = error.what();
    }
    return result;
}

std::string doctor_text(const diagnosis& what) {
    std::size_t widest = 0;
    for (const finding& each : what.findings) {
        widest = std::max(widest, each.check.size());
    }
    std::string text;
    for (const finding& each : what.findings) {
        const std::string word = each.level == health::ok        ? "ok"
                                 : each.level == health::warning ? "WARNING"
                                                                 : "PROBLEM";
        text += fmt::format("  {:<7}  {:<{}}  {}\n", word, each.check, widest, each.found);
        const std::string indent(widest + 13, ' ');
        for (const std::string& detail : each.details) {
            text += fmt::format("{}  {}\n", indent, detail);
        }
        if (!each.advice.empty()) {
            text += fmt::format("{}> {}\n", indent, each.advice);
        }
    }
    const auto count = [&what](health level) {
        return static_cast<std::size_t>(std::ranges::count(what.findings, level, &finding::level));
    };
    return text + fmt::format("{}, {}.\n", number_of(count(health::problem), "problem"),
                              number_of(count(health::warning), "warning"));
}

std::string doctor_json(const diagnosis& what) {
    boost::json::array checks;
    for (const finding& each : what.findings) {
        boost::json::object check{{"check", each.check},
                                  {"level", name_of(each.level)},
                                  {"found", json_text(each.found)}};
        if (!each.details.empty()) {
            check["details"] = json_texts(each.details);
        }
        if (!each.advice.empty()) {
            check["advice"] = json_text(each.advice);
        }
        checks.push_back(std::move(check));
    }
    return ascii_json(boost::json::object{{"v", 1},
                                          {"version", version},
                                          {"level", name_of(worst(what.findings))},
                                          {"checks", std::move(checks)}}) +
           "\n";
}

int run_doctor(const station_arguments& arguments) {
    doctor_options options;
    options.version = version;
    options.has_bundles = !arguments.bundles.empty();
    options.clean = arguments.clean;
    const diagnosis result = examine(std::make_shared<this_computer>(arguments), options);
    write_all(standard_stream::out, arguments.json ? doctor_json(result) : doctor_text(result));
    const int status = worst(result.findings) == health::problem ? 1 : 0;
    if (result.is_incomplete) {
        // A thread that hangs would use what the normal end of the process destroys.
        std::_Exit(status);
    }
    return status;
}

} // namespace vandrel::station
