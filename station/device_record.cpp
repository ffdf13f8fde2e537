#include "station/device_record.h"

namespace vandrel::station {

namespace {

constexpr int lists_that_count = 2;

} // namespace

bool came_back(const device_record& device, const bench_times& times, awake_time now) {
    return device.restored() && now - device.ended_at <= times.came_back;
}

bool has_left(const device_record& device, const bench_times& times, awake_time now) {
    return !device.present && device.lists_without >= lists_that_count &&
           now - device.away_since >= times.away;
}

bool ready_again(const device_record& device, const bench_times& times, awake_time now) {
    return device.lists_with >= lists_that_count && now - device.process_gone >= times.retry_pause;
}

bool not_back(const device_record& device, const bench_times& times, awake_time now) {
    return device.lists_with < lists_that_count && now - device.process_gone > times.retry_wait;
}

} // namespace vandrel::station
