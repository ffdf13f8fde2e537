#pragma once

/// From a run's files to its record.

#include "station/run_record.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

#include <cstddef>
#include <istream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vandrel::station {

/// Makes the record: from the lines of events.jsonl, then from summary.json, which has the facts of
/// the run, and the ends of devices also when their events were lost.
class run_reader {
public:
    /// These bound what is kept of lines, texts, operations and remarks, whatever the size of the
    /// file.
    static constexpr std::size_t longest_line = std::size_t{1024} * 1024;
    static constexpr std::size_t longest_text = 1000;
    static constexpr std::size_t most_operations = 1'000'000;
    static constexpr std::size_t most_remarks = 20;

    void take_lines(std::istream& lines);
    void take_summary(const boost::json::object& summary);
    /// Tries that are under way count as going on until the last event.
    run_record finish();

private:
    void take_line(std::string_view line);
    void take_of_run(const boost::json::object& event, std::string_view name);
    void take_of_device(const boost::json::object& event, std::string_view name);
    void take_of_try(recorded_visit& its, const boost::json::object& event, std::string_view name);
    void take_devices(const boost::json::array& devices);
    void take_end(const boost::json::object& from);
    recorded_visit& visit_of(const boost::json::object& event, bool is_found);
    recorded_visit& add_visit(const std::string& key);
    void begin_operation(recorded_visit& its);
    void end_operation(recorded_visit& its, bool has_failed) const;
    void end_try(recorded_visit& its, const boost::json::object& event);

    run_record record_;
    /// The places of a device's visits in run_record::visits, by its ECID; without one, by "serial
    /// number " and its serial number.
    std::map<std::string, std::vector<std::size_t>> places_;
    /// How often each device was found.
    std::map<std::string, int> found_;
    /// The places of the operations' names in run_record::operation_names.
    std::map<std::string, std::size_t> names_;
    std::size_t operations_ = 0;
};

} // namespace vandrel::station
