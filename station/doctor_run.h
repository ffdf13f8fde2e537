#pragma once

/// The command `doctor`.

#include "station/command_line.h"
#include "station/doctor.h"

#include <string>

namespace vandrel::station {

/// Examines this computer, and writes what was found to standard output. Returns the exit status.
/// If a check had no answer in time, it does not return, but ends the process with that status.
int run_doctor(const station_arguments& arguments);

/// A line for each finding, with its details and what to do below it. The last line has the numbers
/// of problems and warnings.
std::string doctor_text(const diagnosis& what);

/// One object as one line, in ASCII only.
std::string doctor_json(const diagnosis& what);

/// Whether a tool can have made a scratch folder of this name: "vandrel." and six hexadecimal
/// digits in lower case.
bool is_scratch_name(const std::string& name);

/// What there is to know of one, and of all that is in it.
left_folder look_into(const std::filesystem::path& folder);

} // namespace vandrel::station
