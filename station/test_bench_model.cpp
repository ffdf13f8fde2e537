#include "station/test_bench_model.h"

#include <algorithm>

namespace vandrel::station {

namespace {

template<class Kind>
std::vector<Kind> all_of_kind(const std::vector<fact>& facts) {
    std::vector<Kind> result;
    for (const fact& one : facts) {
        if (std::holds_alternative<Kind>(one)) {
            result.push_back(std::get<Kind>(one));
        }
    }
    return result;
}

bool has_error(const restore_report& report) {
    const auto* number = std::get_if<std::int64_t>(&report.error);
    return number ? *number != 0 : !std::holds_alternative<std::monostate>(report.error);
}

bool is_good_end(const report_arrived& what) {
    return what.report.operation == 0 && what.report.progress == 100 &&
           what.report.status != "Failed" && !has_error(what.report);
}

bool is_bad(const report_arrived& what) {
    return what.report.status == "Failed" || has_error(what.report);
}

bool is_own_code_7(const internal_error& what) {
    return what.error.domain == "vandrel" && what.error.code == 7;
}

/// The end of a tool that no record and no decision explains.
std::string end_by_itself(const std::vector<fact>& facts) {
    if (!all_of_kind<tool_not_started>(facts).empty()) {
        return "failed tool_not_started";
    }
    const auto processes = all_of_kind<process_ended>(facts);
    const bool success = processes.empty() || processes.front().exit_status == 0;
    return success ? "failed no_completion" : "failed tool_crashed";
}

} // namespace

std::string expected_end(command what, const std::vector<fact>& facts) {
    const auto reports = all_of_kind<report_arrived>(facts);
    const auto errors = all_of_kind<internal_error>(facts);
    const auto endings = all_of_kind<end_tool>(facts);
    const auto ended_for = [&](end_tool_why why) {
        return !endings.empty() && endings.front().why == why;
    };
    const bool obeyed = what != command::restore && !all_of_kind<command_succeeded>(facts).empty();
    if (obeyed || std::ranges::any_of(reports, is_good_end)) {
        return "restored completed";
    }
    if (std::ranges::any_of(reports, is_bad)) {
        return "failed device_error";
    }
    if (!all_of_kind<given_up>(facts).empty()) {
        return "failed tool_given_up";
    }
    if (ended_for(end_tool_why::user)) {
        return "cancelled user";
    }
    if (ended_for(end_tool_why::time_limit) || std::ranges::any_of(errors, is_own_code_7)) {
        return "timed_out time_limit";
    }
    if (!errors.empty()) {
        return "failed tool_error";
    }
    if (ended_for(end_tool_why::silence)) {
        const bool began = !reports.empty() || !all_of_kind<record_unreadable>(facts).empty();
        return began ? "stalled silence" : "stalled never_began";
    }
    return end_by_itself(facts);
}

} // namespace vandrel::station
