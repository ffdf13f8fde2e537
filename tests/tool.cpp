#include "tests/tool.h"

#include "tests/file_content.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

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

tool_call& tool_call::fail_creation(int n) {
    failing_creation_ = n;
    return *this;
}

tool_call& tool_call::with_pipe() {
    with_pipe_ = true;
    return *this;
}

tool_run tool_call::run() const {
    const temporary_folder folder;
    const fs::path scratch = folder.path() / "temporary";
    const fs::path journal = folder.path() / "journal";
    fs::create_directory(scratch);

    program_call call;
    call.program = (fs::path(program_folder()) / program_file_name("vandrel-sim")).string();
    call.inherits_pipe = with_pipe_;
    for (const std::string& variable : temporary_folder_variables()) {
        call.environment[variable] = scratch.string();
    }
    call.arguments = {"--journal", journal.string(), "--speed", std::to_string(speed_)};
    if (scenario_) {
        const fs::path file = folder.path() / "scenario.plist";
        write_file(file, to_xml(*scenario_));
        call.arguments.insert(call.arguments.end(), {"--scenario", file.string()});
    }
    if (failing_creation_ != 0) {
        call.arguments.insert(call.arguments.end(),
                              {"--fail-creation", std::to_string(failing_creation_)});
    }
    call.arguments.emplace_back("--");
    call.arguments.insert(call.arguments.end(), arguments_.begin(), arguments_.end());
    if (with_pipe_) {
        call.arguments.insert(call.arguments.end(), {"--output-pipe", "{pipe}"});
    }

    const program_result result = run_program(call);
    EXPECT_TRUE(fs::is_empty(scratch)) << "left behind in the folder for temporary files";

    tool_run run;
    run.status = result.status;
    run.standard_output = result.standard_output;
    run.standard_error = result.standard_error;
    run.pipe = result.pipe;
    run.documents = with_pipe_ ? split_documents(result.pipe, "")
                               : split_documents(result.standard_output, "\n");
    run.records = to_values(run.documents);
    run.diagnostics = lines_of(result.standard_error);
    run.journal = to_values(split_documents(read_file(journal), ""));
    run.temporary_folder = scratch.string();
    return run;
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
