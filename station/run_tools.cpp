#include "station/run_tools.h"

#include "station/text.h"

#include <cstddef>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>
#include <variant>

namespace vandrel::station {

namespace {

constexpr const char* log_name = "restore.log";

std::unique_ptr<scratch_folder> make_scratch(const std::filesystem::path& parent) {
    scratch_folder::remove_abandoned(parent);
    try {
        return std::make_unique<scratch_folder>(parent);
    } catch (const std::exception& error) {
        throw refusal(static_cast<int>(early_exit::cannot_work),
                      "no folder can be made for scratch: " + std::string(error.what()));
    }
}

/// The copy of the file of restore options that the tools get; empty without such a file.
std::filesystem::path copy_options(const run_settings& settings,
                                   const std::filesystem::path& folder) {
    if (settings.arguments.options_file.empty()) {
        return {};
    }
    std::filesystem::path copy = folder / "options.plist";
    std::ofstream file(copy, std::ios::binary);
    file << settings.restore_options;
    if (!file.flush()) {
        throw refusal(static_cast<int>(early_exit::cannot_work),
                      printable(text_of(copy)) + " cannot be written");
    }
    return copy;
}

/// Virus scanners hold files for a while.
void remove_patiently(const std::filesystem::path& folder) {
    for (int tries = 0; tries < 60; ++tries) {
        std::error_code error;
        std::filesystem::remove_all(folder, error);
        if (!error) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
    }
}

/// Copies the tool's diagnostics and log into the run's folder, and calls `done` after the last
/// copy.
void keep_files(const std::filesystem::path& left_in, const std::string& kept_in,
                run_folder& folder, const std::function<void()>& done) {
    folder.keep(left_in / tool_process::diagnostics_name, kept_in, [] {});
    folder.keep(left_in / log_name, kept_in, done);
}

} // namespace

run_tools::run_tools(const run_settings& settings, std::function<void(input)> happened)
    : settings_(settings),
      happened_(std::move(happened)),
      scratch_(make_scratch(settings.scratch)),
      options_copy_(copy_options(settings, scratch_->path())),
      cleaner_(std::make_shared<background_writer>(std::size_t{1} << 30U)) {}

std::filesystem::path run_tools::make_folder(const std::string& name) const {
    return scratch_->make(name);
}

void run_tools::start(boost::asio::io_context& context, const start_tool& what,
                      run_folder& folder) {
    running_tool tool;
    tool.kept_in = try_folder(what.ecid, what.visit, what.try_number);
    try {
        tool.folder = scratch_->make(std::to_string(what.tool));
        tool.process =
            tool_process::start(context, settings_.arguments.tool, arguments_for(what, tool.folder),
                                tool.folder, handlers_for(what.tool, tool.kept_in, folder));
    } catch (const std::exception& error) {
        happened_(tool_not_started{what.tool, error.what()});
    }
    if (tool.process) {
        folder.append(tool.kept_in, "command.txt", tool.process->command_line() + "\n");
    }
    tools_[what.tool] = std::move(tool);
}

void run_tools::terminate(tool_id tool) {
    if (const auto found = tools_.find(tool); found != tools_.end()) {
        found->second.process->terminate();
    }
}

void run_tools::take_down(tool_id tool, run_folder& folder) {
    const auto found = tools_.find(tool);
    if (found == tools_.end()) {
        return;
    }
    const running_tool over = std::move(found->second);
    tools_.erase(found);
    if (over.process) {
        over.process->release();
    }
    if (over.folder.empty()) {
        return;
    }
    folder.close(over.kept_in);
    keep_files(over.folder, over.kept_in, folder, [cleaner = cleaner_, path = over.folder] {
        cleaner->post(0, [path] { remove_patiently(path); });
    });
}

void run_tools::terminate_all(run_folder& folder) {
    for (auto& [id, tool] : tools_) {
        if (tool.process) {
            tool.process->release();
            tool.process->terminate();
            keep_files(tool.folder, tool.kept_in, folder, [] {});
        }
    }
}

void run_tools::remove_folders(std::chrono::milliseconds limit) {
    cleaner_->drain(limit);
}

std::vector<std::string> run_tools::arguments_for(const start_tool& what,
                                                  const std::filesystem::path& folder) const {
    const station_arguments& given = settings_.arguments;
    std::vector<std::string> result;
    if (settings_.options.what == command::recover_exit) {
        result = {"--exit-recovery"};
    } else if (settings_.options.what == command::recover_stay) {
        result = {"--no-exit-recovery"};
    } else if (!given.options_file.empty()) {
        result = {"--restore-plist", text_of(options_copy_)};
    } else {
        result = {"--restore", what.with ? text_of(what.with->path) : given.bundle,
                  "--restore-timeout", std::to_string(given.restore_timeout.count())};
        if (settings_.options.erase) {
            result.emplace_back("--erase");
        }
    }
    result.insert(result.end(), {"--ecid", what.ecid, "--detect-timeout", "30", "--debug",
                                 "--amr-logfile", text_of(folder / log_name)});
    return result;
}

tool_handlers run_tools::handlers_for(tool_id tool, const std::string& kept_in,
                                      run_folder& folder) {
    tool_handlers handlers;
    handlers.bytes = [&folder, kept_in](std::string_view bytes) {
        folder.append(kept_in, "records.plist", bytes);
    };
    handlers.arrived = [this, tool](const record& each) { arrived(tool, each); };
    handlers.stream_ended = [this, tool] { happened_(stream_ended{tool}); };
    handlers.process_ended = [this, tool](int status) { happened_(process_ended{tool, status}); };
    handlers.is_behind = [&folder] { return folder.is_behind(); };
    return handlers;
}

void run_tools::arrived(tool_id tool, const record& what) {
    if (const auto* report = std::get_if<restore_report>(&what)) {
        happened_(report_arrived{tool, *report});
    } else if (const auto* error = std::get_if<internal_error_record>(&what)) {
        happened_(internal_error{tool, error->error});
    } else if (std::holds_alternative<command_success_record>(what)) {
        happened_(command_succeeded{tool});
    } else if (std::holds_alternative<unreadable_record>(what)) {
        happened_(record_unreadable{tool});
    }
}

} // namespace vandrel::station
