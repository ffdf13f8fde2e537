#pragma once

/// The command `list`.

#include "station/command_line.h"
#include "station/device.h"
#include "station/plain_view.h"

#include <boost/json/object.hpp>

namespace vandrel::station {

/// Writes the list to standard output. Returns the exit status. Throws refusal, and another
/// std::exception when there can be no scratch folder.
int run_list(const station_arguments& arguments);

/// A device as `list --json` has it.
boost::json::object json_of(const listed_device& each, bundle_column column);

} // namespace vandrel::station
