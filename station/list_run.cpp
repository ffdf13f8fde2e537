#include "station/list_run.h"

#include "station/choice.h"
#include "station/device_lister.h"
#include "station/event_json.h"
#include "station/event_text.h"
#include "station/host.h"
#include "station/plain_view.h"
#include "station/preparation.h"
#include "station/scratch_folder.h"
#include "station/text.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/json/array.hpp>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vandrel::station {

namespace {

using std::chrono::steady_clock;

std::string json_list(const std::vector<listed_device>& devices,
                      const std::optional<bundle>& made_for) {
    boost::json::array all;
    for (const listed_device& each : devices) {
        boost::json::object device{{"ecid", json_text(each.ecid)}};
        if (each.properties) {
            if (!each.properties->slot.empty()) {
                device["slot"] = json_text(each.properties->slot);
            }
            if (each.properties->location_id != 0) {
                device["location"] = location_text(each.properties->location_id);
            }
            for (auto& [key, value] : json_of(*each.properties)) {
                device[key] = value;
            }
            if (made_for) {
                device["fits"] = fits(*each.properties, made_for->identities);
            }
        }
        all.push_back(std::move(device));
    }
    return ascii_json(boost::json::object{{"v", 1}, {"devices", all}}) + "\n";
}

std::string words_for(const list_not_had& failure) {
    switch (failure.why) {
    case list_failure::not_started:
        return "the tool could not be started: " + printable(failure.text);
    case list_failure::timed_out:
        return "the tool gave no list of devices in time";
    case list_failure::broken:
        return "the tool's list of devices cannot be read";
    case list_failure::duplicate_ecid:
        return "the tool's list of devices has a device twice";
    default:
        return "the tool gave no list of devices" +
               (failure.text.empty() ? std::string() : ": " + printable(failure.text));
    }
}

} // namespace

int run_list(const station_arguments& arguments) {
    const slot_names slots = read_slots(arguments.slots_file);
    std::optional<bundle> made_for;
    if (!arguments.bundle.empty()) {
        made_for = read_named_bundle(arguments.bundle);
    }
    scratch_folder scratch(std::filesystem::temp_directory_path());
    auto& context = *new boost::asio::io_context(1);
    std::optional<input> outcome;
    auto limit = steady_clock::now() + arguments.options.times.list_limit;
    device_lister lister(
        context, {arguments.tool, scratch.make("list"), slots, made_for, arguments.list_seconds},
        [&](input what) {
            if (std::holds_alternative<list_continued>(what)) {
                limit = steady_clock::now() + arguments.options.times.list_limit;
            } else {
                outcome = std::move(what);
            }
        });
    const auto guard = boost::asio::make_work_guard(context);
    watch_signals(
        context, [] { std::_Exit(130); }, [] { std::_Exit(130); });
    lister.start({1, {}});
    while (!outcome) {
        context.run_one_for(bench::turn_interval);
        if (!outcome && steady_clock::now() > limit) {
            outcome = list_not_had{1, list_failure::timed_out, ""};
        }
    }
    if (const auto* failure = std::get_if<list_not_had>(&*outcome)) {
        throw refusal(static_cast<int>(early_exit::cannot_work), words_for(*failure));
    }
    list_failure why{};
    const auto checked = checked_list(std::get<list_arrived>(*outcome).devices, why);
    if (!checked) {
        throw refusal(static_cast<int>(early_exit::cannot_work), words_for({1, why, ""}));
    }
    const std::vector<listed_device>& devices = *checked;
    write_all(standard_stream::out,
              arguments.json ? json_list(devices, made_for) : device_table(devices, made_for));
    constexpr int no_device = 3;
    return devices.empty() ? no_device : 0;
}

} // namespace vandrel::station
