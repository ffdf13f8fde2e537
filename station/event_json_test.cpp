#include "station/bundle.h"
#include "station/event_json.h"
#include "station/text.h"

#include <boost/json/parse.hpp>
#include <gmock/gmock.h>

#include <fstream>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace vandrel::station {

namespace {

using boost::json::object;

/// Characters of every kind, and bytes that are none.
const std::vector<std::string> texts = {"plain",
                                        "\"quoted\" \\ / & % < >",
                                        std::string("nothing \0 there", 15),
                                        "controls \x01\t\r\n\x1B[2J\x7F",
                                        "more controls \xC2\x80\xC2\x9B",
                                        "Latin \xC3\xA9, Cyrillic \xD0\x96",
                                        "Chinese \xE4\xB8\xAD\xE6\x96\x87",
                                        "emoji \xF0\x9F\x93\xB1, last \xF4\x8F\xBF\xBF",
                                        "turned around \xE2\x80\xAE, end of line \xE2\x80\xA8",
                                        "no characters \xEF\xBF\xBE\xEF\xBF\xBF",
                                        "half a pair \xED\xA0\x80",
                                        "no UTF-8 \xFF\xC0\xAF\xC3",
                                        "cut \xF0\x9F\x93"};

/// All kinds of events, with this text wherever a device, a file or a person gives one.
std::vector<event_body> bodies_with(const std::string& text) {
    const operation_progress where{14, text, 42};
    const error_details error{text, 7, text};
    try_result result;
    result.exit_status = 1;
    result.error = error;
    result.last_operation = where;
    device_properties properties;
    properties.serial_number = text;
    properties.product_string = text;
    properties.model = text;
    auto with = std::make_shared<bundle>();
    with->path = "some.ipsw";
    with->version = text;
    with->build = text;
    return {run_started{},
            device_found{properties},
            device_left_alone{end_reason::held, 1},
            try_started{with},
            operation{where},
            progress{where},
            quiet{},
            quiet_over{},
            device_away{},
            device_back{},
            failure_reported{where, text, error},
            warning{warning_kind::error_in_report, where, error, 3},
            try_ended{result, true},
            device_ended{final_state::failed, end_reason::device_error, 1, result},
            list_failed{list_failure::broken, text},
            clock_gap{},
            log_incomplete{text},
            stopped_after{5},
            cancel{2, {event_device{"0000000000000001", "", "A1", 0, 1}}},
            run_ended{}};
}

event event_with(const event_body& body, const std::string& text) {
    event what;
    what.seq = 1;
    what.device = event_device{"0000000000000001", text, text, 0x14100000, 1};
    what.body = body;
    return what;
}

std::string line_of(const event_body& body, const std::string& text) {
    // Known when an operation begins.
    const bool has_rest = std::holds_alternative<operation>(body);
    return json_line(event_with(body, text), {text, {{text, text}}},
                     std::chrono::system_clock::time_point(),
                     has_rest ? std::optional(awake_time(1)) : std::nullopt);
}

TEST(json_line, is_one_line_of_ascii_whatever_a_text_has) {
    for (const std::string& text : texts) {
        for (const event_body& body : bodies_with(text)) {
            const std::string line = line_of(body, text);
            ASSERT_EQ(line.find('\n'), line.size() - 1) << line;
            for (const char c : line.substr(0, line.size() - 1)) {
                ASSERT_TRUE(c >= 0x20 && c < 0x7F) << line;
            }
        }
    }
}

TEST(json_line, gives_back_what_can_be_shown_of_each_text) {
    for (const std::string& text : texts) {
        const std::string shown = printable(text);
        for (const event_body& body : bodies_with(text)) {
            const object read = boost::json::parse(line_of(body, text)).as_object();
            EXPECT_EQ(read.at("run").as_string(), shown);
            EXPECT_EQ(read.at("slot").as_string(), shown);
            EXPECT_EQ(read.at("tags").as_object().at(shown).as_string(), shown);
            for (const char* key : {"serial_number", "product_string", "model", "operation_name",
                                    "status", "text", "bundle_version", "bundle_build"}) {
                if (const auto* value = read.if_contains(key)) {
                    EXPECT_EQ(value->as_string(), shown) << key;
                }
            }
            if (const auto* error = read.if_contains("error")) {
                EXPECT_EQ(error->as_object(),
                          (object{{"domain", shown}, {"code", 7}, {"text", shown}}));
            }
        }
    }
}

std::vector<std::string> keys_of(const event_body& body) {
    const object read = boost::json::parse(line_of(body, "x")).as_object();
    std::vector<std::string> keys;
    for (const auto& each : read) {
        keys.emplace_back(each.key());
    }
    return keys;
}

TEST(json_line, has_the_keys_of_its_event) {
    const std::string place = "operation operation_name progress ";
    const std::string tries =
        "state reason ended_by exit_status duration_s error " + place + "unreadable_records ";
    const std::map<std::string_view, std::string> expected = {
        {"run_started", "command erase watch "},
        {"device_found", "chip_id board_id serial_number product_string model "},
        {"device_left_alone", "reason holder "},
        {"try_started", "bundle bundle_version bundle_build "},
        {"operation", place + "left_s "},
        {"progress", place},
        {"quiet", "never_began silent_s "},
        {"quiet_over", ""},
        {"device_away", ""},
        {"device_back", ""},
        {"failure_reported", place + "status error "},
        {"warning", "kind " + place + "error exit_status "},
        {"try_ended", tries + "will_retry "},
        {"device_ended", tries + "tries "},
        {"list_failed", "reason text "},
        {"clock_gap", "length_s "},
        {"log_incomplete", "text "},
        {"stopped_after", "failures "},
        {"cancel", "stage writing_firmware "},
        {"run_ended", "counts exit_status "}};
    const std::vector<event_body> bodies = bodies_with("x");
    ASSERT_EQ(bodies.size(), std::variant_size_v<event_body>);
    for (const event_body& body : bodies) {
        std::string keys;
        for (const std::string& each : keys_of(body)) {
            keys += each + " ";
        }
        EXPECT_EQ(keys, "v seq time t run event level ecid slot location try " +
                            expected.at(name_of(body)) + "message tags ");
    }
}

/// What stands in `backticks`, but not in parentheses.
std::vector<std::string> names_in(const std::string& cell) {
    static const std::regex parentheses(R"(\([^)]*\))");
    static const std::regex name("`([a-z_]+)`");
    const std::string plain = std::regex_replace(cell, parentheses, "");
    std::vector<std::string> names;
    for (std::sregex_iterator each(plain.begin(), plain.end(), name), end; each != end; ++each) {
        names.push_back((*each)[1]);
    }
    return names;
}

/// The rows of the page's table below this line: what stands in the first cell, and in the second.
std::vector<std::pair<std::string, std::string>> rows_below(const std::string& title) {
    std::ifstream page(STATION_PAGE);
    std::string line;
    while (std::getline(page, line) && line != title) {
    }
    std::vector<std::pair<std::string, std::string>> rows;
    for (std::getline(page, line); std::getline(page, line) && line.starts_with("| ");) {
        const std::size_t middle = line.find(" | ");
        rows.emplace_back(line.substr(2, middle - 2), line.substr(middle + 3));
    }
    return rows;
}

TEST(json_line, has_the_keys_that_the_page_names) {
    std::set<std::string> common;
    for (const auto& [keys, meaning] : rows_below("| key | |")) {
        for (const std::string& each : names_in(keys)) {
            common.insert(each);
        }
    }
    std::map<std::string, std::set<std::string>> on_page;
    for (const auto& [events, keys] : rows_below("| event | further keys |")) {
        for (const std::string& name : names_in(events)) {
            const std::vector<std::string> names = names_in(keys);
            EXPECT_TRUE(on_page.emplace(name, std::set(names.begin(), names.end())).second) << name;
        }
    }
    const std::vector<event_body> bodies = bodies_with("x");
    EXPECT_EQ(on_page.size(), bodies.size());
    for (const event_body& body : bodies) {
        const std::vector<std::string> keys = keys_of(body);
        std::set<std::string> own(keys.begin(), keys.end());
        for (const std::string& each : common) {
            EXPECT_EQ(own.erase(each), 1u) << name_of(body) << " has " << each;
        }
        EXPECT_EQ(own, on_page[std::string(name_of(body))]) << name_of(body);
    }
}

TEST(json_line, names_a_device_without_ecid_by_its_serial_number) {
    event missing;
    missing.device = event_device{"", "SERIAL", "", 0, 0};
    missing.body = device_ended{final_state::missing, end_reason::never_seen, 0, {}};
    const object read = boost::json::parse(json_line(missing, {}, {})).as_object();
    EXPECT_EQ(read.if_contains("ecid"), nullptr);
    EXPECT_EQ(read.at("serial_number").as_string(), "SERIAL");
}

TEST(ascii_json, escapes_every_character_that_is_not_ascii) {
    EXPECT_EQ(ascii_json("a\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x93\xB1\x7F"),
              "\"a\\u00e9\\u4e2d\\ud83d\\udcf1\x7F\"");
}

} // namespace

} // namespace vandrel::station
