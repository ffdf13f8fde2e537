#include "station/plain_view.h"

#include "station/event_text.h"
#include "station/text.h"

#include <fmt/format.h>

#include <cstdlib>
#include <utility>

namespace vandrel::station {

namespace {

/// What is needed of the scratch folder for each restore at once, beside the bundle's own size.
constexpr double room_factor = 1.1;

std::string place_of_device(const listed_device& device) {
    if (!device.properties) {
        return "-";
    }
    event_device place;
    place.slot = device.properties->slot;
    place.location_id = device.properties->location_id;
    return place_of(place);
}

std::string headline(const ask_consent& choice, command what) {
    const std::size_t count = choice.devices.size();
    const std::string number = number_of(count, "device");
    if (what != command::restore) {
        return fmt::format("{} will {}.\n", number,
                           what == command::recover_exit ? "leave Recovery mode"
                                                         : "stay in Recovery mode");
    }
    if (!choice.erase) {
        return fmt::format("{} will be restored. Data on {} should stay.\n", number,
                           count == 1 ? "it" : "them");
    }
    std::string text = fmt::format("{} will be ERASED. Everything on {} is lost.\n", number,
                                   count == 1 ? "it" : "them");
    if (choice.watch) {
        text += "Every device that is attached later will be ERASED as well.\n";
    }
    return text;
}

std::string bundle_text(const bundle& made_for) {
    std::string models;
    for (const std::string& each : made_for.models) {
        models += (models.empty() ? "" : ", ") + printable(each);
    }
    return fmt::format("  Bundle   {}\n           {} ({}), {}{}\n",
                       printable(text_of(made_for.path)), printable(made_for.version),
                       printable(made_for.build), size_text(made_for.size),
                       models.empty() ? "" : ", for " + models);
}

} // namespace

bool plain_view::is_worth_a_line(const event& what) {
    if (const auto* ended = std::get_if<try_ended>(&what.body)) {
        // The last try's end is the device's.
        return ended->will_retry;
    }
    if (!what.device) {
        return true;
    }
    std::int64_t& shown = tenths_[what.device->ecid];
    if (const auto* begun = std::get_if<operation>(&what.body)) {
        shown = begun->operation_progress::progress / 10;
        return true;
    }
    const auto* goes_on = std::get_if<progress>(&what.body);
    if (goes_on == nullptr) {
        return true;
    }
    const std::int64_t tenth = goes_on->operation_progress::progress / 10;
    return std::exchange(shown, tenth) != tenth;
}

std::string plain_view::line_for(const event& what, std::chrono::seconds local_time) {
    if (!is_worth_a_line(what)) {
        return {};
    }
    const event_text text = describe(what);
    std::string line = hours_minutes_seconds(local_time) + " ";
    if (what.device) {
        line += fmt::format("{:<{}} {} ", place_of(*what.device), place_width_, what.device->ecid);
    }
    line += fmt::format("{:<9} {}", text.word, text.text);
    line.erase(line.find_last_not_of(' ') + 1);
    return line + "\n";
}

std::string zone_text(std::chrono::minutes ahead) {
    const auto count = std::abs(ahead.count());
    return fmt::format("UTC{}{:02}:{:02}", ahead.count() < 0 ? '-' : '+', count / 60, count % 60);
}

std::string choice_text(const ask_consent& choice, command what, const question_facts& facts) {
    std::string text = headline(choice, what) + "\n";
    if (facts.made_for) {
        text += bundle_text(*facts.made_for);
        const auto needed = static_cast<std::uint64_t>(
            room_factor * static_cast<double>(facts.made_for->unpacked_size * facts.at_once));
        text += fmt::format("  Room     {} free in {}, {} at once need about {}\n",
                            size_text(facts.free_bytes), printable(facts.scratch), facts.at_once,
                            size_text(needed));
    }
    if (!facts.options_file.empty()) {
        text += "  Options  " + printable(facts.options_file) + "\n";
    }
    text += "\n" + device_table(choice.devices);
    if (!choice.left_alone.empty()) {
        text += fmt::format("{} left alone:\n",
                            choice.left_alone.size() == 1
                                ? std::string("1 device is")
                                : fmt::format("{} devices are", choice.left_alone.size()));
        for (const auto& each : choice.left_alone) {
            event left;
            left.body = each.why;
            text += fmt::format("  {:<10}  {:<16}  {}\n", place_of_device(each.device),
                                printable(each.device.ecid), describe(left).text);
        }
    }
    return text;
}

std::string prompt_text(const ask_consent& choice) {
    if (!choice.erase) {
        return fmt::format("Type {} to go on, or press Enter to stop: ", choice.wanted);
    }
    return fmt::format("Type {} to erase {}, or press Enter to stop: ", choice.wanted,
                       choice.devices.size() == 1
                           ? std::string("this device")
                           : fmt::format("these {} devices", choice.devices.size()));
}

std::string device_table(const std::vector<listed_device>& devices) {
    if (devices.empty()) {
        return "No device in Recovery mode or DFU.\n";
    }
    std::string text = "  SLOT        ECID              SERIAL        CHIP    BOARD  DEVICE\n";
    for (const listed_device& each : devices) {
        const device_properties known = each.properties.value_or(device_properties{});
        std::string name = printable(known.product_string);
        if (!known.model.empty()) {
            name.insert(0, printable(known.model) + ", ");
        }
        text += fmt::format("  {:<10}  {:<16}  {:<12}  {:<6}  {:<5}  {}\n", place_of_device(each),
                            printable(each.ecid), printable(known.serial_number),
                            fmt::format("0x{:04x}", known.chip_id),
                            fmt::format("0x{:02x}", known.board_id), name);
    }
    return text;
}

} // namespace vandrel::station
