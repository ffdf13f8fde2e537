#include "tests/tool.h"

#include "tests/file_content.h"

#include <boost/algorithm/string/replace.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <sstream>
#include <utility>

namespace vandrel::testing {

namespace {

namespace fs = boost::filesystem;

std::vector<plist_value> to_values(const std::vector<std::string>& documents) {
    std::vector<plist_value> values;
    std::ranges::transform(documents, std::back_inserter(values), from_xml);
    return values;
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

fs::path scratch_of(const temporary_folder& folder) {
    return folder.path() / "temporary";
}

fs::path journal_of(const temporary_folder& folder) {
    return folder.path() / "journal";
}

/// The environment variable of the stand-in libraries for an option of vandrel-sim: "fail-creation"
/// is VANDREL_FAIL_CREATION.
std::string variable_of(std::string option) {
    std::ranges::transform(option, option.begin(), [](char c) {
        return c == '-' ? '_' : static_cast<char>(c - 'a' + 'A');
    });
    return "VANDREL_" + option;
}

/// `word` for a POSIX shell.
std::string quoted(const std::string& word) {
    return "'" + boost::replace_all_copy(word, "'", "'\\''") + "'";
}

/// The shell command that repeats the run in the folder in which it is kept. Its arguments are
/// added to those of the tool.
std::string repeating_command(const temporary_folder& folder, const program_call& call) {
    std::string command = "cd \"$(dirname \"$0\")\" && env";
    for (const auto& [name, value] : call.environment) {
        if (name.starts_with("VANDREL_")) {
            command += " " + quoted(name + "=" + value);
        }
    }
    command += " " + quoted(call.program);
    for (const std::string& argument : call.arguments) {
        command += " " + quoted(argument);
    }
    const std::string in_folder =
        folder.path().string() + static_cast<char>(fs::path::preferred_separator);
    return boost::replace_all_copy(command, in_folder, "") + " \"$@\"\n";
}

/// Copies the input and output of a run to "SUITE.TEST.N" in the folder that VANDREL_KEEP_RUNS
/// names.
void keep_run(const temporary_folder& folder, const program_result& result) {
    const char* const kept = std::getenv("VANDREL_KEEP_RUNS");
    const auto* const test = ::testing::UnitTest::GetInstance()->current_test_info();
    if (kept == nullptr || test == nullptr) {
        return;
    }
    const std::string name = std::string(test->test_suite_name()) + "." + test->name() + ".";
    int number = 1;
    while (fs::exists(fs::path(kept) / (name + std::to_string(number)))) {
        ++number;
    }
    const fs::path target = fs::path(kept) / (name + std::to_string(number));
    fs::create_directories(target);
    for (const fs::directory_entry& entry : fs::directory_iterator(folder.path())) {
        if (fs::is_regular_file(entry.path())) {
            fs::copy_file(entry.path(), target / entry.path().filename());
        }
    }
    write_file(target / "standard_output", result.standard_output);
    write_file(target / "standard_error", result.standard_error);
    if (!result.pipe.empty()) {
        write_file(target / "pipe", result.pipe);
    }
}

} // namespace

int tool_run::calls(const std::string& function) const {
    return static_cast<int>(std::ranges::count_if(journal, [&](const plist_value& entry) {
        return entry.at("Call") == plist_value(function);
    }));
}

tool_call::tool_call(std::vector<std::string> arguments) : arguments_(std::move(arguments)) {}

tool_call& tool_call::scenario(const dictionary& scenario) {
    scenario_ = scenario;
    return *this;
}

tool_call& tool_call::speed(int factor) {
    speed_ = factor;
    return *this;
}

tool_call& tool_call::bench(const std::string& folder) {
    bench_ = folder;
    return *this;
}

tool_call& tool_call::fail_creation(int n) {
    failing_creation_ = n;
    return *this;
}

tool_call& tool_call::with_pipe() {
    with_pipe_ = true;
    return *this;
}

tool_call& tool_call::inheriting(std::intptr_t number) {
    inherited_.push_back(number);
    return *this;
}

running_tool tool_call::start() const {
    auto folder = std::make_unique<temporary_folder>();
    fs::create_directory(scratch_of(*folder));

    program_call call;
    call.inherits_pipe = with_pipe_;
    call.inherited = inherited_;
    for (const std::string& variable : temporary_folder_variables()) {
        call.environment[variable] = scratch_of(*folder).string();
    }
    std::map<std::string, std::string> simulation{{"journal", journal_of(*folder).string()},
                                                  {"speed", std::to_string(speed_)}};
    if (scenario_) {
        const fs::path file = folder->path() / "scenario.plist";
        write_file(file, to_xml(*scenario_));
        simulation["scenario"] = file.string();
    }
    if (bench_) {
        simulation["bench"] = *bench_;
    }
    if (failing_creation_ != 0) {
        simulation["fail-creation"] = std::to_string(failing_creation_);
    }

    const std::string program = tested_program();
    call.program = (fs::path(program_folder()) / program_file_name(program)).string();
    if (program == "vandrel-sim") {
        for (const auto& [name, value] : simulation) {
            call.arguments.insert(call.arguments.end(), {"--" + name, value});
        }
        call.arguments.emplace_back("--");
    } else {
        for (const auto& [name, value] : simulation) {
            call.environment[variable_of(name)] = value;
        }
    }
    call.arguments.insert(call.arguments.end(), arguments_.begin(), arguments_.end());
    write_file(folder->path() / "command", repeating_command(*folder, call));
    if (with_pipe_) {
        call.arguments.insert(call.arguments.end(), {"--output-pipe", "{pipe}"});
    }
    return {std::move(folder), call};
}

tool_run tool_call::run() const {
    running_tool running = start();
    tool_run result = running.wait();
    EXPECT_THAT(running.temporary_files(), ::testing::IsEmpty()) << "left behind";
    if (std::getenv("VANDREL_FAIL_CREATIONS") != nullptr && failing_creation_ == 0) {
        fail_every_creation();
    }
    return result;
}

/// The same call, but it ends soon even if the completing report is lost, and it uses another log
/// file.
tool_call tool_call::bounded() const {
    tool_call call = *this;
    const auto find = [&call](const char* option) {
        return std::ranges::find(call.arguments_, option);
    };
    const auto end = call.arguments_.end();
    if (const auto log = find("--amr-logfile"); log != end) {
        *std::next(log) += ".failing";
    }
    if (find("--restore-plist") != end && call.scenario_) {
        // This option does not allow a timeout, so the last report is sent again.
        for (auto& device : std::get<array>(call.scenario_->at("Devices").value)) {
            auto& restore =
                std::get<dictionary>(std::get<dictionary>(device.value)["Restore"].value);
            auto& reports = std::get<array>(restore.at("Reports").value);
            dictionary again = std::get<dictionary>(reports.back().value);
            again["After"] = 5;
            reports.emplace_back(again);
        }
    } else if (find("--restore") != end && find("--restore-timeout") == end) {
        call.arguments_.insert(end, {"--restore-timeout", "1"});
    }
    return call;
}

void tool_call::fail_every_creation() const {
    constexpr int at_once = 8;
    for (int first = 1;; first += at_once) {
        std::vector<running_tool> tools;
        for (int n = first; n < first + at_once; ++n) {
            tools.push_back(bounded().fail_creation(n).start());
        }
        for (int n = first; n < first + at_once; ++n) {
            SCOPED_TRACE("creation " + std::to_string(n) + " fails");
            running_tool& tool = tools[static_cast<std::size_t>(n - first)];
            const tool_run run = tool.wait();
            if (run.standard_error.find("vandrel-sim: --fail-creation: ") != std::string::npos) {
                return;
            }
            EXPECT_THAT(run.status, ::testing::AllOf(::testing::Ge(0), ::testing::Le(8)));
            EXPECT_THAT(run.standard_error, ::testing::Not(::testing::HasSubstr("simulator: ")));
            EXPECT_THAT(run.standard_error, ::testing::Not(::testing::HasSubstr("vandrel-sim: ")));
            EXPECT_THAT(tool.temporary_files(), ::testing::IsEmpty()) << "left behind";
        }
    }
}

running_tool::running_tool(std::unique_ptr<temporary_folder> folder, const program_call& call)
    : folder_(std::move(folder)), has_pipe_(call.inherits_pipe), program_(call) {}

void running_tool::close_pipe() {
    has_pipe_ = false;
    program_.close_pipe();
}

tool_run running_tool::wait() {
    const program_result result = program_.wait();
    keep_run(*folder_, result);
    tool_run run;
    run.status = result.status;
    run.standard_output = result.standard_output;
    run.standard_error = result.standard_error;
    run.pipe = result.pipe;
    run.documents = has_pipe_ ? split_documents(result.pipe, "")
                              : split_documents(result.standard_output, "\n");
    run.records = to_values(run.documents);
    run.diagnostics = lines_of(result.standard_error);
    run.journal = to_values(split_documents(read_file(journal_of(*folder_)), ""));
    run.temporary_folder = scratch_of(*folder_).string();
    return run;
}

std::vector<std::string> running_tool::temporary_files() const {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(scratch_of(*folder_))) {
        names.push_back(entry.path().filename().string());
    }
    return names;
}

std::string tested_program() {
    const char* const name = std::getenv("VANDREL_TESTED_PROGRAM");
    return name == nullptr ? "vandrel-sim" : name;
}

dictionary recovery_device(const std::string& ecid, const dictionary& more) {
    dictionary device{{"Name", ecid}, {"ECID", ecid}, {"State", "Recovery"}};
    for (const auto& [key, value] : more) {
        device.insert_or_assign(key, value);
    }
    return device;
}

plist_value tool_error_record(int code, const std::string& description,
                              const std::string& failure_reason) {
    return dictionary{{"Type", "InternalError"},
                      {"Value", dictionary{{"Code", code},
                                           {"Description", description},
                                           {"Domain", "vandrel"},
                                           {"FailureReason", failure_reason}}}};
}

} // namespace vandrel::testing
