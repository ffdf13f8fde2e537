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

/// What to name models by, and to say which is for a device.
std::optional<bundle_list> read_bundles(const station_arguments& arguments) {
    if (!arguments.bundles.empty()) {
        return usable(look_into(*open_bundle_folder(arguments.bundles)));
    }
    if (!arguments.bundle.empty()) {
        return bundle_list{std::make_shared<const bundle>(read_named_bundle(arguments.bundle))};
    }
    return {};
}

void name_bundles(std::vector<listed_device>& devices, const bundle_list& bundles) {
    for (listed_device& each : devices) {
        if (each.properties) {
            each.properties->model = model_of(*each.properties, bundles);
            each.bundles = bundles_for(*each.properties, bundles);
        }
    }
}

bundle_column column_of(const station_arguments& arguments) {
    if (!arguments.bundles.empty()) {
        return bundle_column::newest;
    }
    return arguments.bundle.empty() ? bundle_column::none : bundle_column::fits;
}

boost::json::object json_of(const listed_device& each, bundle_column column) {
    boost::json::object device{{"ecid", json_text(each.ecid)}};
    if (!each.properties) {
        return device;
    }
    if (!each.properties->slot.empty()) {
        device["slot"] = json_text(each.properties->slot);
    }
    if (each.properties->location_id != 0) {
        device["location"] = location_text(each.properties->location_id);
    }
    for (auto& [key, value] : json_of(*each.properties)) {
        device[key] = value;
    }
    if (column != bundle_column::none) {
        device["fits"] = !each.bundles.empty();
    }
    if (column == bundle_column::newest && !each.bundles.empty()) {
        add_bundle(device, *each.bundles.front());
    }
    return device;
}

std::string json_list(const std::vector<listed_device>& devices, bundle_column column) {
    boost::json::array all;
    for (const listed_device& each : devices) {
        all.push_back(json_of(each, column));
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
    const std::optional<bundle_list> bundles = read_bundles(arguments);
    scratch_folder scratch(std::filesystem::temp_directory_path());
    auto& context = *new boost::asio::io_context(1);
    std::optional<input> outcome;
    auto limit = steady_clock::now() + arguments.options.times.list_limit;
    device_lister lister(context,
                         {arguments.tool, scratch.make("list"), slots, arguments.list_seconds},
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
    auto checked = checked_list(std::get<list_arrived>(*outcome).devices, why);
    if (!checked) {
        throw refusal(static_cast<int>(early_exit::cannot_work), words_for({1, why, ""}));
    }
    std::vector<listed_device>& devices = *checked;
    if (bundles) {
        name_bundles(devices, *bundles);
    }
    const bundle_column column = column_of(arguments);
    write_all(standard_stream::out,
              arguments.json ? json_list(devices, column) : device_table(devices, column));
    constexpr int no_device = 3;
    return devices.empty() ? no_device : 0;
}

} // namespace vandrel::station
