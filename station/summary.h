#pragma once

/// What became of each device of a run: for people at its end, and as files from its start.

#include "station/events.h"

#include <boost/json/fwd.hpp>

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vandrel::station {

/// What the summary says about the run itself.
struct summary_facts {
    std::string run;
    std::string version;
    std::string command;
    bool erase = false;
    /// Of `--expect`.
    std::optional<std::size_t> expected;
    /// Of the bundle for all devices, such as "17.1" and "21B80"; empty without one.
    std::string bundle_version;
    std::string bundle_build;
    std::string bundle_path;
    std::string folder;
    std::map<std::string, std::string> tags;
    std::chrono::system_clock::time_point started;
};

/// Made from facts about the run, and from its events and their times, and from nothing else.
class summary {
public:
    explicit summary(summary_facts facts) : facts_(std::move(facts)) {}

    void take(const event& what, std::chrono::system_clock::time_point time);

    /// For people, with a line feed after each line.
    std::string text() const;
    /// When the run is over with status 2, 3 or 4, the reason in one sentence without a full stop;
    /// else empty.
    std::string refusal_text() const;
    /// One JSON document, and a line feed.
    std::string json() const;
    /// A line with the names of the columns, then one for each visit that has ended or was left
    /// alone, and for each device that was missing. Lines end with a carriage return and a line
    /// feed.
    std::string csv() const;

private:
    struct row {
        event_device device;
        std::optional<device_properties> properties;
        std::optional<device_ended> ended;
        std::optional<std::int64_t> holder;
        /// The bundle from a folder of bundles that the last try had; null without one.
        std::shared_ptr<const bundle> with = {};
        /// From 1.
        int visit = 1;
        std::chrono::system_clock::time_point ended_at;
    };

    static const std::string& serial_number_of(const row& each);
    static std::string describe_row(const row& each);
    std::size_t left_alone_for(end_reason reason) const;
    static boost::json::object json_of_row(const row& each);
    row& row_of(const event_device& device, bool new_visit);
    std::vector<const row*> rows_in(std::initializer_list<final_state> states) const;
    void add_text(std::string& to, const std::string& title,
                  const std::vector<const row*>& rows) const;

    summary_facts facts_;
    /// In the order in which they appeared.
    std::vector<row> rows_;
    /// How often each device was found, by ECID.
    std::map<std::string, int> visits_;
    std::optional<run_ended> ended_;
    std::chrono::system_clock::time_point ended_at_;
};

/// One field of a CSV line, in printable characters and quoted where it has to be. A text that
/// begins with one of = + - @ gets an apostrophe before it, because spreadsheets would take it for
/// a formula.
std::string csv_field(const std::string& text);

} // namespace vandrel::station
