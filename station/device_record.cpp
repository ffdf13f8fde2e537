#include "station/device_record.h"

#include <algorithm>

namespace vandrel::station {

namespace {

constexpr int lists_that_count = 2;

} // namespace

event_device whom(const device_record& device) {
    event_device result;
    result.ecid = device.ecid;
    if (device.properties) {
        result.serial_number = device.properties->serial_number;
        result.slot = device.properties->slot;
        result.location_id = device.properties->location_id;
    }
    result.try_number = device.tries;
    return result;
}

bool came_back(const device_record& device, const bench_times& times, awake_time now) {
    return device.restored() && now - device.ended_at <= times.came_back;
}

bool never_left(const device_record& device, const bench_times& times, awake_time list_begun) {
    return device.restored() && device.away_since <= device.ended_at &&
           device.lists_with >= lists_that_count && list_begun - device.ended_at >= times.stays;
}

bool has_left(const device_record& device, const bench_times& times, awake_time now) {
    return !device.present && device.lists_without >= lists_that_count &&
           now - device.away_since >= times.away;
}

bool ready_again(const device_record& device, const bench_times& times, awake_time now) {
    return device.lists_with >= lists_that_count && now - device.process_gone >= times.retry_pause;
}

bool not_back(const device_record& device, const bench_times& times, awake_time now) {
    // A device that was back can leave again while it waits for its turn.
    const awake_time since = std::max(device.process_gone, device.away_since);
    return device.lists_with < lists_that_count && now - since > times.retry_wait;
}

} // namespace vandrel::station
