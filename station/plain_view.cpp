#include "station/plain_view.h"

#include "station/event_text.h"
#include "station/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>
#include <vector>

namespace vandrel::station {

namespace {

/// What is needed of the scratch folder for each restore at once, beside the bundle's own size.
constexpr double room_factor = 1.1;

/// How many characters a text has: bytes of UTF-8 but those that go on with a character.
std::size_t width_of(const std::string& text) {
    return static_cast<std::size_t>(std::ranges::count_if(
        text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80; }));
}

std::string place_of_device(const listed_device& device) {
    if (!device.properties) {
        return "-";
    }
    event_device place;
    place.slot = device.properties->slot;
    place.location_id = device.properties->location_id;
    return place_of(place);
}

using table_row = std::vector<std::string>;

/// Lines of two blanks and the row's texts, each as wide as the widest in its column.
std::string aligned(const std::vector<table_row>& rows) {
    std::vector<std::size_t> widths;
    for (const table_row& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], width_of(row[i]));
        }
    }
    std::string text;
    for (const table_row& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += "  " + row[i] + std::string(widths[i] - width_of(row[i]), ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    }
    return text;
}

/// "Recovery" of "Apple Mobile Device (Recovery Mode)"; any other text as it is.
std::string mode_of(const std::string& product_string) {
    constexpr std::string_view end = " Mode)";
    const std::size_t begin = product_string.rfind('(');
    if (begin == std::string::npos || !product_string.ends_with(end)) {
        return product_string;
    }
    return product_string.substr(begin + 1, product_string.size() - end.size() - begin - 1);
}

std::string chip_text(const device_properties& device) {
    return fmt::format("0x{:04x}", device.chip_id);
}

std::string board_text(const device_properties& device) {
    return fmt::format("0x{:02x}", device.board_id);
}

/// Place, ECID, serial number and model; without a model the chip and the board.
table_row identity_of(const listed_device& device) {
    table_row row{place_of_device(device), printable(device.ecid), "-", "-"};
    if (device.properties) {
        const device_properties& known = *device.properties;
        row[2] = printable(known.serial_number);
        row[3] = known.model.empty() ? chip_text(known) + " " + board_text(known)
                                     : printable(known.model);
    }
    return row;
}

std::string headline(const ask_consent& choice, command what) {
    const std::size_t count = choice.devices.size();
    const std::string number = number_of(count, "device");
    if (what != command::restore) {
        return fmt::format("{} will {}.\n", number,
                           what == command::recover_exit ? "leave Recovery mode"
                                                         : "stay in Recovery mode");
    }
    const std::string_view them = count == 1 ? "it" : "them";
    std::string text;
    if (count != 0 || !choice.watch) {
        text = choice.erase
                   ? fmt::format("{} will be ERASED. Everything on {} is lost.\n", number, them)
                   : fmt::format("{} will be restored. Data on {} should stay.\n", number, them);
    }
    if (choice.watch) {
        text += fmt::format("Every chosen device that is attached later will be {} as well.\n",
                            choice.erase ? "ERASED" : "restored");
    }
    return text;
}

/// "a, b and c".
std::string listed(const std::vector<std::string>& names) {
    std::string text;
    for (std::size_t i = 0; i < names.size(); ++i) {
        text += (i == 0 ? "" : i + 1 == names.size() ? " and " : ", ") + printable(names[i]);
    }
    return text;
}

std::string bundle_text(const bundle& made_for) {
    return fmt::format("  Bundle   {}\n           {} ({}), {}{}\n",
                       printable(text_of(made_for.path)), printable(made_for.version),
                       printable(made_for.build), size_text(made_for.size),
                       made_for.models.empty() ? "" : ", for " + listed(made_for.models));
}

} // namespace

bool plain_view::is_worth_a_line(const event& what) {
    if (const auto* ended = std::get_if<try_ended>(&what.body)) {
        // The last try's end is the device's.
        return ended->will_retry;
    }
    if (const auto* left = std::get_if<device_left_alone>(&what.body)) {
        // Of a run that touched nothing, one sentence says why.
        return left->reason != end_reason::not_begun;
    }
    if (!what.device) {
        // The summary stands below, and says the same.
        return !std::holds_alternative<run_ended>(what.body);
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
    event_text text = describe(what);
    if (command_ != command::restore && text.word == word_of(final_state::restored)) {
        text.word = "done";
    }
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
    std::vector<table_row> rows{{"SLOT", "ECID", "SERIAL", "MODEL", "NOW IN"}};
    for (const listed_device& each : choice.devices) {
        rows.push_back(identity_of(each));
        rows.back().push_back(each.properties ? printable(mode_of(each.properties->product_string))
                                              : "-");
    }
    if (rows.size() > 1) {
        text += "\n" + aligned(rows);
    }
    rows.clear();
    for (const auto& each : choice.left_alone) {
        event left;
        left.body = each.why;
        rows.push_back(identity_of(each.device));
        rows.back().push_back(describe(left).text);
    }
    if (!rows.empty()) {
        text += fmt::format("{} left alone:\n{}",
                            rows.size() == 1 ? std::string("1 device is")
                                             : fmt::format("{} devices are", rows.size()),
                            aligned(rows));
    }
    return text;
}

std::string prompt_text(const ask_consent& choice) {
    if (!choice.erase) {
        return fmt::format("Type {} to go on, or press Enter to stop: ", choice.wanted);
    }
    std::string whom = "this device";
    if (choice.devices.empty()) {
        whom = "what is attached";
    } else if (choice.devices.size() > 1) {
        whom = fmt::format("these {} devices", choice.devices.size());
    }
    return fmt::format("Type {} to erase {}, or press Enter to stop: ", choice.wanted, whom);
}

std::string device_table(const std::vector<listed_device>& devices,
                         const std::optional<bundle>& made_for) {
    if (devices.empty()) {
        return "No device in Recovery mode or DFU.\n";
    }
    std::vector<table_row> rows{{"SLOT", "ECID", "SERIAL", "CHIP", "BOARD", "DEVICE"}};
    if (made_for) {
        rows.front().insert(rows.front().end(), {"MODEL", "BUNDLE"});
    }
    for (const listed_device& each : devices) {
        table_row row{place_of_device(each), printable(each.ecid), "-", "-", "-", "-"};
        if (each.properties) {
            const device_properties& known = *each.properties;
            row = {row[0],
                   row[1],
                   printable(known.serial_number),
                   chip_text(known),
                   board_text(known),
                   printable(known.product_string)};
        }
        if (made_for) {
            const bool fit = each.properties && fits(*each.properties, made_for->identities);
            row.push_back(each.properties ? printable(each.properties->model) : "");
            row.emplace_back(fit ? "fits" : "is not for it");
        }
        rows.push_back(std::move(row));
    }
    return aligned(rows);
}

} // namespace vandrel::station
