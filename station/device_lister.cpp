#include "station/device_lister.h"

#include "station/text.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace vandrel::station {

namespace {

constexpr std::size_t most_at_once = 8;
/// The device was there a moment ago.
constexpr const char* info_seconds = "10";

} // namespace

device_lister::device_lister(boost::asio::io_context& context, settings how,
                             std::function<void(input)> happened)
    : context_(context), how_(std::move(how)), happened_(std::move(happened)) {}

device_lister::~device_lister() {
    drop_all();
}

/// No handler of theirs is called any more.
void device_lister::drop_all() {
    for (auto& [ecid, each] : running_) {
        each.process->release();
        each.process->terminate();
        if (each.limit) {
            each.limit->cancel();
        }
    }
    running_.clear();
}

void device_lister::start(const start_list& what) {
    drop_all();
    list_ = what.list;
    ends_ = false;
    without_properties_ = {what.without_properties.begin(), what.without_properties.end()};
    devices_.clear();
    to_ask_.clear();
    std::vector<std::string> arguments{"--list-devices"};
    if (how_.detect_seconds) {
        arguments.insert(arguments.end(),
                         {"--detect-timeout", std::to_string(*how_.detect_seconds)});
    }
    try {
        ask("", arguments);
    } catch (const std::exception& error) {
        fail(list_failure::not_started, error.what());
    }
}

void device_lister::end(list_id list) {
    if (list != list_) {
        return;
    }
    ends_ = true;
    to_ask_.clear();
    for (auto& [ecid, each] : running_) {
        each.process->terminate();
        // A process that the tool has started may hold the pipe.
        each.stream_over = true;
    }
    if (running_.empty()) {
        finish();
    }
}

void device_lister::ask(const std::string& ecid, const std::vector<std::string>& arguments) {
    tool_handlers handlers;
    handlers.arrived = [this, ecid](const record& each) { running_[ecid].records.push_back(each); };
    handlers.stream_ended = [this, ecid] {
        running_[ecid].stream_over = true;
        over_when_both(ecid);
    };
    handlers.process_ended = [this, ecid](int) {
        running_[ecid].process_over = true;
        over_when_both(ecid);
    };
    auto process =
        tool_process::start(context_, how_.tool, arguments, how_.folder, std::move(handlers));
    // Not before it has been started.
    running_[ecid].process = std::move(process);
}

/// The tool keeps its own limit; this is for one that hangs, which must not cost the others the
/// list.
void device_lister::limit(const std::string& ecid) {
    auto timer = std::make_shared<boost::asio::steady_timer>(context_, how_.properties_limit);
    running_.at(ecid).limit = timer;
    timer->async_wait([this, ecid, timer](const boost::system::error_code& error) {
        if (error) {
            return;
        }
        const auto found = running_.find(ecid);
        if (found == running_.end() || found->second.limit != timer || ends_) {
            return;
        }
        const asked late = std::move(found->second);
        running_.erase(found);
        late.process->release();
        late.process->terminate();
        have_properties(ecid, {});
    });
}

void device_lister::over_when_both(const std::string& ecid) {
    const auto found = running_.find(ecid);
    if (found == running_.end() || !found->second.stream_over || !found->second.process_over) {
        return;
    }
    const asked over = std::move(found->second);
    running_.erase(found);
    over.process->release();
    if (over.limit) {
        over.limit->cancel();
    }
    if (ends_) {
        if (running_.empty()) {
            finish();
        }
    } else if (ecid.empty()) {
        have_list(over.records);
    } else {
        have_properties(ecid, over.records);
    }
}

void device_lister::have_list(const std::vector<record>& records) {
    const auto list = std::ranges::find_if(records, [](const record& each) {
        return std::holds_alternative<device_list_record>(each);
    });
    if (list == records.end()) {
        const bool broken = std::ranges::any_of(records, [](const record& each) {
            return std::holds_alternative<unreadable_record>(each);
        });
        const auto error = std::ranges::find_if(records, [](const record& each) {
            return std::holds_alternative<internal_error_record>(each);
        });
        fail(broken ? list_failure::broken : list_failure::no_list,
             error == records.end() ? "" : std::get<internal_error_record>(*error).error.text);
        return;
    }
    for (const std::string& ecid : std::get<device_list_record>(*list).ecids) {
        devices_.push_back({ecid, {}});
        // The tool cannot be asked about a text that is no ECID.
        if (normalized_ecid(ecid) && !without_properties_.contains(ecid)) {
            to_ask_.push_back(ecid);
        }
    }
    happened_(list_continued{list_});
    ask_for_more();
}

void device_lister::have_properties(const std::string& ecid, const std::vector<record>& records) {
    for (const record& each : records) {
        if (const auto* info = std::get_if<device_info_record>(&each)) {
            device_properties properties = info->properties;
            if (const auto slot = how_.slots.find(properties.location_id);
                slot != how_.slots.end()) {
                properties.slot = slot->second;
            }
            if (const auto device = std::ranges::find(devices_, ecid, &listed_device::ecid);
                device != devices_.end()) {
                device->properties = properties;
            }
        }
    }
    happened_(list_continued{list_});
    ask_for_more();
}

void device_lister::ask_for_more() {
    while (!to_ask_.empty() && running_.size() < most_at_once) {
        const std::string ecid = to_ask_.front();
        to_ask_.pop_front();
        if (running_.contains(ecid)) {
            continue;
        }
        try {
            ask(ecid, {"--device-info", "--ecid", ecid, "--detect-timeout", info_seconds});
            limit(ecid);
        } catch (const std::exception&) {
            // Without its properties, then.
        }
    }
    if (running_.empty()) {
        finish();
    }
}

void device_lister::finish() {
    if (ends_) {
        happened_(list_not_had{list_, list_failure::timed_out, ""});
    } else {
        happened_(list_arrived{list_, devices_});
    }
}

void device_lister::fail(list_failure why, const std::string& text) {
    happened_(list_not_had{list_, why, text});
}

} // namespace vandrel::station
