#pragma once

/// How a run of the tool ended, found a second time from the list of what happened.

#include "station/bench.h"

#include <string>
#include <variant>
#include <vector>

namespace vandrel::station {

/// What happened to one run of the tool, in its order.
struct given_up {};
using fact = std::variant<report_arrived, command_succeeded, internal_error, record_unreadable,
                          tool_not_started, process_ended, stream_ended, end_tool, given_up>;

/// Its final state and reason, such as "failed tool_crashed".
std::string expected_end(command what, const std::vector<fact>& facts);

} // namespace vandrel::station
