#include "station/time_left.h"

#include "station/bundle.h"

#include <algorithm>

namespace vandrel::station {

namespace {

/// The median of at least one time.
awake_time median(std::vector<awake_time> of) {
    const auto middle = of.begin() + static_cast<std::ptrdiff_t>(of.size() / 2);
    std::ranges::nth_element(of, middle);
    if (of.size() % 2 == 1) {
        return *middle;
    }
    return (*middle + *std::max_element(of.begin(), middle)) / 2;
}

/// Some operations never report how far they are.
awake_time rest_of(awake_time usual, std::int64_t progress, awake_time running) {
    if (progress > 0) {
        return usual * (100 - std::min<std::int64_t>(progress, 100)) / 100;
    }
    return std::max(usual - running, awake_time(0));
}

} // namespace

time_left::time_left(const std::vector<restored_try>& earlier, std::string build, bool erases)
    : build_(std::move(build)), erases_(erases) {
    std::map<restore_kind, std::vector<const restored_try*>> by_kind;
    for (const restored_try& each : earlier) {
        by_kind[each.kind].push_back(&each);
    }
    for (const auto& [kind, tries] : by_kind) {
        learn(kind, tries);
    }
}

std::vector<time_left::step> time_left::steps_of(const restored_try& each) {
    std::vector<step> result;
    std::map<std::int32_t, std::size_t> seen;
    for (const operation_time& one : each.operations) {
        result.emplace_back(one.operation, seen[one.operation]++);
    }
    return result;
}

void time_left::learn(const restore_kind& kind, const std::vector<const restored_try*>& tries) {
    std::map<step, std::vector<awake_time>> lengths;
    for (const restored_try* each : tries) {
        const std::vector<step> steps = steps_of(*each);
        for (std::size_t i = 0; i < steps.size(); ++i) {
            lengths[steps[i]].push_back(each->operations[i].length);
        }
    }
    std::map<step, usual_time>& usual = usual_[kind];
    // What follows a step is what followed it in the newest try that had it.
    for (auto each = tries.rbegin(); each != tries.rend(); ++each) {
        const std::vector<step> steps = steps_of(**each);
        awake_time rest{};
        for (auto one = steps.rbegin(); one != steps.rend(); ++one) {
            const awake_time itself = median(lengths[*one]);
            usual.try_emplace(*one, usual_time{itself, rest});
            rest += itself;
        }
    }
}

void time_left::begin(running_try& its, const operation_progress& what, awake_time t) {
    if (its.now) {
        its.before.push_back({its.now->first, t - its.since});
    }
    const auto seen = std::ranges::count(its.before, what.operation, &operation_time::operation);
    its.now = step{what.operation, static_cast<std::size_t>(seen)};
    its.since = t;
    its.progress = what.progress;
}

std::optional<restored_try> time_left::take(const event& what) {
    if (!what.device) {
        return {};
    }
    const std::string& ecid = what.device->ecid;
    if (const auto* found = std::get_if<device_found>(&what.body)) {
        devices_[ecid] = found->properties.value_or(device_properties{});
    } else if (const auto* started = std::get_if<try_started>(&what.body)) {
        const device_properties& device = devices_[ecid];
        running_[ecid] = {{device.chip_id, device.board_id,
                           started->with ? started->with->build : build_, erases_},
                          {},
                          {},
                          {},
                          0};
    } else if (const auto* begun = std::get_if<operation>(&what.body)) {
        begin(running_[ecid], *begun, what.t);
    } else if (const auto* further = std::get_if<progress>(&what.body)) {
        const operation_progress& where = *further;
        running_[ecid].progress = where.progress;
    } else if (const auto* ended = std::get_if<try_ended>(&what.body)) {
        const auto its = running_.extract(ecid);
        if (ended->state != final_state::restored || !its || !its.mapped().now) {
            return {};
        }
        restored_try result{its.mapped().kind, its.mapped().before};
        result.operations.push_back({its.mapped().now->first, what.t - its.mapped().since});
        // The times of a device or a bundle that is not known would help nobody.
        if (result.kind.chip_id != 0 && !result.kind.build.empty()) {
            return result;
        }
    }
    return {};
}

std::optional<awake_time> time_left::of(const std::string& ecid, awake_time now) const {
    const auto running = running_.find(ecid);
    if (running == running_.end() || !running->second.now) {
        return {};
    }
    const running_try& its = running->second;
    const auto kind = usual_.find(its.kind);
    if (kind == usual_.end()) {
        return {};
    }
    const auto usual = kind->second.find(*its.now);
    if (usual == kind->second.end()) {
        return {};
    }
    return rest_of(usual->second.itself, its.progress, now - its.since) + usual->second.rest;
}

} // namespace vandrel::station
