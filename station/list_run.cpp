#include "station/list_run.h"

#include "station/device_listing.h"
#include "station/event_json.h"
#include "station/event_text.h"
#include "station/host.h"
#include "station/plain_view.h"
#include "station/preparation.h"

#include <boost/json/array.hpp>

#include <optional>
#include <string>
#include <vector>

namespace vandrel::station {

namespace {

/// The bundles that give the devices their models, and of which the list says which fit; nothing
/// when none were given.
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

std::string json_list(const std::vector<listed_device>& devices, bundle_column column) {
    boost::json::array all;
    for (const listed_device& each : devices) {
        all.push_back(json_of(each, column));
    }
    return ascii_json(boost::json::object{{"v", 1}, {"devices", all}}) + "\n";
}

} // namespace

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

int run_list(const station_arguments& arguments) {
    const slot_names slots = read_slots(arguments.slots_file);
    const std::optional<bundle_list> bundles = read_bundles(arguments);
    device_listing listing(arguments, slots);
    listing.end_with_signals();
    std::vector<listed_device> devices = listing.next();
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
