#pragma once

/// Events as JSON, for programs.

#include "station/events.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vandrel::station {

/// What every event of a run has in common.
struct run_facts {
    std::string run;
    std::map<std::string, std::string> tags;
};

/// One event as one line, with its line feed, in ASCII only. `left` is how long the restore of its
/// device will still take; absent when it is not known or not to be written.
std::string json_line(const event& what, const run_facts& facts,
                      std::chrono::system_clock::time_point time,
                      std::optional<awake_time> left = {});

/// A value as text in ASCII only. Its strings and keys have to be valid UTF-8.
std::string ascii_json(const boost::json::value& value);

/// `text` in printable characters (station/text.h), and so valid UTF-8, which boost::json needs.
std::string json_text(std::string_view text);

/// The texts in their order, each as json_text has it.
boost::json::array json_texts(const std::vector<std::string>& texts);

boost::json::object json_of(const counts& totals);
boost::json::object json_of(const error_details& error);
boost::json::object json_of(const device_properties& properties);
/// Adds `operation`, `progress` and, if there is a name, `operation_name`.
void add_operation(boost::json::object& object, const operation_progress& where);
/// Adds `bundle`, `bundle_version` and `bundle_build`, but none that is empty.
void add_bundle(boost::json::object& object, const bundle& what);
/// Adds all that try_result has.
void add_try(boost::json::object& object, const try_result& result);

double seconds_of(awake_time time);

} // namespace vandrel::station
