#include "station/plain_view.h"

#include "station/event_text.h"
#include "station/table.h"
#include "station/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <string_view>
#include <utility>
#include <vector>

namespace vandrel::station {

namespace {

std::string place_of_device(const listed_device& device) {
    if (!device.properties) {
        return "-";
    }
    event_device place;
    place.slot = device.properties->slot;
    place.location_id = device.properties->location_id;
    return place_of(place);
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

std::string bundle_cell(const listed_device& device, bundle_column column) {
    if (column == bundle_column::fits) {
        return device.bundles.empty() ? "is not for it" : "fits";
    }
    return device.bundles.empty() ? "none is for it" : version_text(*device.bundles.front());
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

std::string bundle_text(const bundle& made_for) {
    return fmt::format("  Bundle   {}\n           {}, {}{}\n", printable(text_of(made_for.path)),
                       version_text(made_for), size_text(made_for.size),
                       made_for.models.empty() ? "" : ", for " + enumerated(made_for.models));
}

/// Why the first of these bundles is taken.
std::string reason_text(const bundle_list& fitting) {
    if (fitting.size() == 1) {
        return "the only one that fits";
    }
    constexpr std::size_t most_shown = 3;
    std::vector<std::string> others;
    for (std::size_t i = 1; i < fitting.size() && i <= most_shown; ++i) {
        const bundle& other = *fitting[i];
        others.push_back(other.build == fitting.front()->build
                             ? "the same in " + text_of(other.path.filename())
                             : version_text(other));
    }
    if (fitting.size() > most_shown + 1) {
        others.push_back(fmt::format("{} more", fitting.size() - most_shown - 1));
    }
    return fmt::format("the newest of {} that fit; not {}", fitting.size(), enumerated(others));
}

/// The bundles of the devices, each with the number of its devices, and why it is taken.
std::string folder_text(const ask_consent& choice, const question_facts& facts) {
    std::string text = "  Bundles  " + printable(facts.folder) + "\n";
    if (facts.unusable_files > 0) {
        text +=
            fmt::format("           {} in it cannot be used: the command \"bundles\" says why\n",
                        number_of(facts.unusable_files, "file"));
    }
    std::vector<std::pair<bundle_list, std::size_t>> groups;
    for (const listed_device& each : choice.devices) {
        const auto group =
            std::ranges::find(groups, each.bundles, [](const auto& one) { return one.first; });
        if (group != groups.end()) {
            ++group->second;
        } else if (!each.bundles.empty()) {
            groups.emplace_back(each.bundles, 1);
        }
    }
    for (const auto& [fitting, count] : groups) {
        const bundle& taken = *fitting.front();
        text +=
            fmt::format("           {}\n             {}, {}, for {}\n             {}\n",
                        printable(text_of(taken.path.filename())), version_text(taken),
                        size_text(taken.size), number_of(count, "device"), reason_text(fitting));
    }
    return text;
}

std::string room_text(const question_facts& facts, std::size_t at_once, std::uint64_t needed) {
    return fmt::format("  Room     {} free in {}, {} at once need about {}\n",
                       size_text(facts.free_bytes), printable(facts.scratch), at_once,
                       size_text(needed));
}

/// The room for the devices with the largest bundles, in case they run at the same time.
std::string folder_room_text(const ask_consent& choice, const question_facts& facts) {
    std::vector<std::uint64_t> needs;
    for (const listed_device& each : choice.devices) {
        if (!each.bundles.empty()) {
            needs.push_back(room_for(*each.bundles.front()));
        }
    }
    std::ranges::sort(needs, std::greater());
    needs.resize(std::min(needs.size(), facts.at_once));
    std::uint64_t needed = 0;
    std::size_t count = 0;
    for (const std::uint64_t each : needs) {
        if (facts.room_limits_tools && needed + each > facts.free_bytes) {
            break;
        }
        needed += each;
        ++count;
    }
    return room_text(facts, count, needed);
}

} // namespace

bool plain_view::is_worth_a_line(const event& what) {
    if (const auto* ended = std::get_if<try_ended>(&what.body)) {
        // The end of the last try is that of the device, which has its own line.
        return ended->will_retry;
    }
    if (const auto* left = std::get_if<device_left_alone>(&what.body)) {
        // One sentence says why a run has touched nothing.
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
        text += room_text(facts, facts.at_once, room_for(*facts.made_for) * facts.at_once);
    } else if (!facts.folder.empty()) {
        text += folder_text(choice, facts) + folder_room_text(choice, facts);
    }
    if (!facts.options_file.empty()) {
        text += "  Options  " + printable(facts.options_file) + "\n";
    }
    std::vector<table_row> rows{{"SLOT", "ECID", "SERIAL", "MODEL", "NOW IN"}};
    if (!facts.folder.empty()) {
        rows.front().emplace_back("BUNDLE");
    }
    for (const listed_device& each : choice.devices) {
        rows.push_back(identity_of(each));
        rows.back().push_back(each.properties ? printable(mode_of(each.properties->product_string))
                                              : "-");
        if (!each.bundles.empty()) {
            rows.back().push_back(version_text(*each.bundles.front()));
        }
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
        text += fmt::format("{} {} left alone:\n{}", number_of(rows.size(), "device"),
                            rows.size() == 1 ? "is" : "are", aligned(rows));
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

std::string device_table(const std::vector<listed_device>& devices, bundle_column column) {
    if (devices.empty()) {
        return "No device in Recovery mode or DFU.\n";
    }
    std::vector<table_row> rows{{"SLOT", "ECID", "SERIAL", "CHIP", "BOARD", "DEVICE"}};
    if (column != bundle_column::none) {
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
        if (column != bundle_column::none) {
            row.push_back(each.properties ? printable(each.properties->model) : "");
            row.push_back(bundle_cell(each, column));
        }
        rows.push_back(std::move(row));
    }
    return aligned(rows);
}

} // namespace vandrel::station
