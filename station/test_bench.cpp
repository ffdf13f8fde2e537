#include "station/test_bench.h"

#include <algorithm>
#include <stdexcept>

namespace vandrel::station {

listed_device fitting_device(const std::string& ecid) {
    device_properties properties;
    properties.chip_id = 0x8110;
    properties.board_id = 0x0C;
    properties.serial_number = "SERIAL" + ecid.substr(14);
    properties.slot = "S" + ecid.substr(15);
    properties.location_id = 0x14110000;
    return {ecid, properties};
}

bundle_list fitting() {
    auto one = std::make_shared<bundle>();
    one->identities = {{0x8110, 0x0C}};
    return {one};
}

bench_options all_devices() {
    bench_options options;
    options.erase = true;
    options.all = true;
    options.yes = true;
    options.bundles = fitting();
    options.stagger = 0ms;
    return options;
}

bench_options watch() {
    bench_options options = all_devices();
    options.watch = true;
    return options;
}

restore_report report(std::int32_t operation, std::int64_t progress, std::string status,
                      error_value error) {
    return {std::move(status), operation, progress, std::move(error), "operation"};
}

void bench_under_test::detach(const std::string& ecid) {
    std::erase_if(attached, [&](const listed_device& device) { return device.ecid == ecid; });
}

void bench_under_test::answer(const decision& one, std::vector<input>& answers) {
    if (const auto* lock = std::get_if<lock_device>(&one)) {
        if (held.contains(lock->ecid)) {
            answers.emplace_back(lock_held{lock->ecid, 4711});
        } else {
            answers.emplace_back(lock_obtained{lock->ecid});
        }
    } else if (const auto* list = std::get_if<start_list>(&one)) {
        if (lists_are_answered) {
            answers.emplace_back(list_arrived{list->list, attached});
        }
    } else if (std::holds_alternative<write_record>(one)) {
        if (record_is_written) {
            answers.emplace_back(record_written{});
        }
    } else if (const auto* start = std::get_if<start_tool>(&one)) {
        tools_[start->ecid] = start->tool;
    }
}

void bench_under_test::turn(std::vector<input> happened) {
    do {
        std::vector<input> answers;
        for (const decision& one : bench_.turn(now_, happened)) {
            decisions_.push_back(one);
            answer(one, answers);
        }
        happened = std::move(answers);
    } while (!happened.empty());
}

void bench_under_test::pass(awake_time time) {
    const awake_time end = now_ + time;
    while (now_ < end) {
        now_ += end - now_ > 2s ? 1s : std::min<awake_time>(250ms, end - now_);
        turn();
    }
}

void bench_under_test::reports(const std::string& ecid, const restore_report& what) {
    turn({report_arrived{tool(ecid), what}});
}

void bench_under_test::ends(const std::string& ecid, std::int64_t exit_status) {
    turn({stream_ended{tool(ecid)}, process_ended{tool(ecid), exit_status}});
}

void bench_under_test::restores(const std::string& ecid) {
    reports(ecid, report(0, 100, "Successful"));
    ends(ecid);
}

void bench_under_test::fails(const std::string& ecid) {
    reports(ecid, report(13, 42, "Failed", std::int64_t{4005}));
    ends(ecid);
}

std::vector<std::string> bench_under_test::started() const {
    std::vector<std::string> result;
    for (const start_tool& start : decided<start_tool>()) {
        result.push_back(start.ecid);
    }
    return result;
}

final_state bench_under_test::state(const std::string& ecid) const {
    std::optional<final_state> result;
    for (const event& one : events()) {
        if (!one.device || one.device->ecid != ecid) {
            continue;
        }
        if (const auto* ended = std::get_if<device_ended>(&one.body)) {
            result = ended->state;
        } else if (std::holds_alternative<device_left_alone>(one.body)) {
            result = final_state::left_alone;
        }
    }
    return result ? *result : throw std::logic_error(ecid + " has not ended");
}

end_reason bench_under_test::reason(const std::string& ecid) const {
    std::optional<end_reason> result;
    for (const event& one : events()) {
        if (!one.device || one.device->ecid != ecid) {
            continue;
        }
        if (const auto* ended = std::get_if<device_ended>(&one.body)) {
            result = ended->reason;
        } else if (const auto* alone = std::get_if<device_left_alone>(&one.body)) {
            result = alone->reason;
        }
    }
    return result ? *result : throw std::logic_error(ecid + " has not ended");
}

} // namespace vandrel::station
