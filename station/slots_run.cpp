#include "station/slots_run.h"

#include "station/device_listing.h"
#include "station/event_json.h"
#include "station/event_text.h"
#include "station/host.h"
#include "station/list_run.h"
#include "station/preparation.h"
#include "station/slot_file.h"
#include "station/table.h"
#include "station/text.h"

#include <boost/json/array.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <system_error>
#include <utility>

namespace vandrel::station {

namespace {

constexpr int usage = static_cast<int>(early_exit::usage);

std::uint32_t location_of(const listed_device& device) {
    return device.properties ? device.properties->location_id : 0;
}

std::vector<slot_line> in_order(const slot_names& slots) {
    std::vector<slot_line> lines;
    for (const auto& [location, name] : slots) {
        lines.push_back({location, name});
    }
    std::ranges::sort(lines, [](const slot_line& one, const slot_line& other) {
        return is_before(one.name, other.name);
    });
    return lines;
}

/// Those at the location.
std::vector<listed_device> devices_at(std::uint32_t location,
                                      const std::vector<listed_device>& devices) {
    std::vector<listed_device> found;
    std::ranges::copy_if(devices, std::back_inserter(found),
                         [&](const listed_device& each) { return location_of(each) == location; });
    return found;
}

std::vector<listed_device> devices_elsewhere(const slot_names& slots,
                                             const std::vector<listed_device>& devices) {
    std::vector<listed_device> found;
    std::ranges::copy_if(devices, std::back_inserter(found), [&](const listed_device& each) {
        return !slots.contains(location_of(each));
    });
    return found;
}

table_row row_of(const std::string& name, std::uint32_t location, const listed_device& device) {
    table_row row{name, location != 0 ? location_text(location) : "-", printable(device.ecid), "-",
                  "-"};
    if (device.properties) {
        row[3] = printable(device.properties->serial_number);
        row[4] = printable(device.properties->product_string);
    }
    return row;
}

std::string json_of(const slot_names& slots, const std::vector<listed_device>& devices) {
    boost::json::array all;
    for (const slot_line& slot : in_order(slots)) {
        const auto here = devices_at(slot.location, devices);
        for (const listed_device& each : here) {
            all.push_back(json_of(each, bundle_column::none));
        }
        if (here.empty()) {
            all.push_back(boost::json::object{{"slot", json_text(slot.name)},
                                              {"location", location_text(slot.location)}});
        }
    }
    boost::json::array others;
    for (const listed_device& each : devices_elsewhere(slots, devices)) {
        others.push_back(json_of(each, bundle_column::none));
    }
    return ascii_json(boost::json::object{
               {"v", 1}, {"slots", std::move(all)}, {"elsewhere", std::move(others)}}) +
           "\n";
}

void say(const std::string& text) {
    write_all(standard_stream::out, text);
}

/// What is typed, without the blanks around it; nothing at the end of the input.
std::optional<std::string> answer_to(const std::string& question) {
    say(question);
    std::string line;
    if (!std::getline(std::cin, line)) {
        say("\n");
        return {};
    }
    constexpr const char* blanks = " \t\r";
    line.erase(line.find_last_not_of(blanks) + 1);
    return line.erase(0, line.find_first_not_of(blanks));
}

std::string content_of(const std::string& name) {
    std::ifstream file(path_of(name), std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

class learner {
public:
    explicit learner(const station_arguments& arguments) : file_(arguments.slots_file) {
        std::error_code error;
        if (std::filesystem::exists(path_of(file_), error)) {
            if (!std::filesystem::is_regular_file(path_of(file_), error)) {
                throw refusal(usage, printable(file_) + " is no file");
            }
            slots_ = read_slots(file_);
        }
        // If the file cannot be written, this fails before anybody plugs anything in.
        write(content_of(file_));
        listing_.emplace(arguments, slot_names{});
    }

    int run() {
        say("Have one device in Recovery mode or DFU at hand: it is plugged into each port in "
            "turn.\n");
        take(listing_->next());
        while (const auto name = ask_name()) {
            last_name_ = *name;
            if (!learn(*name)) {
                break;
            }
        }
        say(fmt::format("{} learnt. {} has {}.\n", number_of(learnt_, "port"), printable(file_),
                        number_of(slots_.size(), "name")));
        return 0;
    }

private:
    void write(const std::string& content) const {
        try {
            replace_slot_file(path_of(file_), content);
        } catch (const std::exception& error) {
            throw refusal(usage, error.what());
        }
    }

    std::set<std::string> names() const {
        std::set<std::string> result;
        for (const auto& [location, name] : slots_) {
            result.insert(name);
        }
        return result;
    }

    /// Nothing when no more ports are to be learnt.
    std::optional<std::string> ask_name() const {
        const std::string next = next_slot_name(last_name_, names());
        for (;;) {
            auto typed = answer_to(fmt::format(
                "Next port: press Enter for {}, or type its name, or type end to stop: ",
                printable(next)));
            if (!typed || *typed == "end") {
                return {};
            }
            if (typed->empty()) {
                return next;
            }
            if (printable(*typed) == *typed) {
                return typed;
            }
            say("The name has characters that cannot be shown.\n");
        }
    }

    /// False when no more ports are to be learnt.
    bool learn(const std::string& name) {
        for (const auto& [location, other] : slots_) {
            if (other == name) {
                say(fmt::format("So far, {} is {}.\n", name, location_text(location)));
            }
        }
        say(fmt::format("Plug the device into the port for {}.\n", name));
        for (;;) {
            const std::uint32_t location = next_location();
            const auto known = slots_.find(location);
            if (known != slots_.end() && known->second != name) {
                const auto answer = answer_to(fmt::format(
                    "This port is {} already ({}). Type y to name it {}, or press Enter to plug "
                    "the device into another port: ",
                    printable(known->second), location_text(location), name));
                if (!answer) {
                    return false;
                }
                if (*answer != "y") {
                    continue;
                }
            }
            keep({location, name});
            return true;
        }
    }

    void keep(const slot_line& line) {
        // Someone may have edited the file meanwhile.
        write(with_slot(content_of(file_), line));
        std::erase_if(slots_, [&](const auto& each) { return each.second == line.name; });
        slots_[line.location] = line.name;
        ++learnt_;
        say(fmt::format("{} is {}.\n", line.name, location_text(line.location)));
    }

    /// Waits until a list has exactly one location that the list before did not have.
    std::uint32_t next_location() {
        constexpr int until_reminder = 6;
        for (int lists = 1;; ++lists) {
            const std::vector<std::uint32_t> found = take(listing_->next());
            if (found.size() == 1) {
                return found.front();
            }
            if (found.size() > 1) {
                say(fmt::format("{} devices have come at the same time. Unplug them, and plug in "
                                "one.\n",
                                found.size()));
            } else if (lists == until_reminder) {
                say("No device has come yet. One that stays in its port is not found again: unplug "
                    "it for some seconds.\n");
            }
        }
    }

    /// The locations that the list before did not have.
    std::vector<std::uint32_t> take(const std::vector<listed_device>& devices) {
        std::map<std::string, std::uint32_t> now;
        for (const listed_device& each : devices) {
            // A device whose properties could not be had this time counts as not moved.
            const auto before = present_.find(each.ecid);
            const bool is_known = !each.properties && before != present_.end();
            const std::uint32_t location = is_known ? before->second : location_of(each);
            if (location != 0) {
                now[each.ecid] = location;
            } else if (each.properties && without_place_.insert(each.ecid).second) {
                say(printable(each.ecid) + " does not report in which port it is.\n");
            }
        }
        std::set<std::uint32_t> found;
        for (const auto& [ecid, location] : now) {
            found.insert(location);
        }
        for (const auto& [ecid, location] : present_) {
            found.erase(location);
        }
        present_ = std::move(now);
        return {found.begin(), found.end()};
    }

    const std::string file_;
    slot_names slots_;
    std::optional<device_listing> listing_;
    std::string last_name_;
    /// Where the devices of the last list are, by ECID.
    std::map<std::string, std::uint32_t> present_;
    std::set<std::string> without_place_;
    std::size_t learnt_ = 0;
};

} // namespace

std::string slot_table(const slot_names& slots, const std::vector<listed_device>& devices) {
    std::vector<table_row> rows{{"SLOT", "LOCATION", "ECID", "SERIAL", "DEVICE"}};
    for (const slot_line& slot : in_order(slots)) {
        const auto here = devices_at(slot.location, devices);
        for (const listed_device& each : here) {
            rows.push_back(row_of(printable(slot.name), slot.location, each));
        }
        if (here.empty()) {
            rows.push_back({printable(slot.name), location_text(slot.location), "-"});
        }
    }
    for (const listed_device& each : devices_elsewhere(slots, devices)) {
        rows.push_back(row_of("-", location_of(each), each));
    }
    return aligned(rows);
}

int run_slots(const station_arguments& arguments) {
    if (arguments.learn) {
        return learner(arguments).run();
    }
    const slot_names slots = read_slots(arguments.slots_file);
    device_listing listing(arguments, slots);
    listing.end_with_signals();
    const auto devices = listing.next();
    write_all(standard_stream::out,
              arguments.json ? json_of(slots, devices) : slot_table(slots, devices));
    return 0;
}

} // namespace vandrel::station
