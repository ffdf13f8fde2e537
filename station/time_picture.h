#pragma once

/// When which device was in which operation, as a part of a page.

#include "station/run_record.h"

#include <chrono>
#include <string>

namespace vandrel::station {

/// A table with a row for each device. Each row has its own picture, so that a printer can break
/// the page between two rows. Times are shares of the picture's width, so that the table can be as
/// wide as the page.
std::string time_picture(const run_record& record);

/// The distance of the marks on an axis of this length, so that there are at most eight.
std::chrono::seconds distance_of_marks(awake_time length);

} // namespace vandrel::station
