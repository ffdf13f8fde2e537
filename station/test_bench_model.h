#pragma once

/// How a run of the tool ended, found a second time from the list of what happened.

#include "station/bench.h"

#include <string>
#include <variant>
#include <vector>

namespace vandrel::station {

/// The bench has given the process up.
struct given_up {};
/// One thing that happened to a run of the tool.
using fact = std::variant<report_arrived, command_succeeded, internal_error, record_unreadable,
                          tool_not_started, process_ended, stream_ended, end_tool, given_up>;

/// The run's final state and reason after these facts, in their order, such as "failed
/// tool_crashed".
std::string expected_end(command what, const std::vector<fact>& facts);

} // namespace vandrel::station
