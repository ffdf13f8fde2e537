#pragma once

/// A bench under test, with a clock that tests set, devices that lists show, and tools that do what
/// a test says. Everything that was decided is kept until `forget`.

#include "station/bench.h"

#include <chrono>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace vandrel::station {

using namespace std::chrono_literals;

inline const std::string device_a = "00000000000000AA";
inline const std::string device_b = "00000000000000BB";
inline const std::string device_c = "00000000000000CC";
inline const std::string device_d = "00000000000000DD";

/// A device that fits `fitting()`.
listed_device fitting_device(const std::string& ecid);

/// The bundle of `all_devices()`.
bundle_list fitting();

/// `--all --erase --yes` with a bundle, no stagger, no retries.
bench_options all_devices();

/// The same with `--watch`.
bench_options watch();

restore_report report(std::int32_t operation, std::int64_t progress,
                      std::string status = "Restoring", error_value error = {});

class bench_under_test {
public:
    explicit bench_under_test(const bench_options& options) : bench_(options) {}

    // What the next lists show, and the devices that another process holds.
    std::vector<listed_device> attached;
    std::set<std::string> held;
    /// Lists are answered at once with `attached`. If false, the test answers them.
    bool lists_are_answered = true;
    /// The run's record is written at once. If false, the test says when it is.
    bool record_is_written = true;

    void attach(const std::string& ecid) { attached.push_back(fitting_device(ecid)); }
    void detach(const std::string& ecid);

    /// One turn now, and further ones with the answers to its decisions.
    void turn(std::vector<input> happened = {});
    /// Turns every second, and every quarter of a second in the last two, until `time` has passed.
    void pass(awake_time time);
    /// Time jumps, without turns.
    void jump(awake_time time) { now_ += time; }

    // What the newest tool of a device does.
    void reports(const std::string& ecid, const restore_report& what);
    void ends(const std::string& ecid, std::int64_t exit_status = 0);
    /// A completing report, then the end.
    void restores(const std::string& ecid);
    /// A failing report, then the end.
    void fails(const std::string& ecid);
    tool_id tool(const std::string& ecid) const { return tools_.at(ecid); }

    // What was decided.
    template<class Decision>
    std::vector<Decision> decided() const {
        std::vector<Decision> result;
        for (const decision& one : decisions_) {
            if (const auto* found = std::get_if<Decision>(&one)) {
                result.push_back(*found);
            }
        }
        return result;
    }

    std::vector<event> events() const {
        std::vector<event> result;
        for (const log_event& logged : decided<log_event>()) {
            result.push_back(logged.what);
        }
        return result;
    }

    /// The bodies of one kind, of all devices or of one.
    template<class Body>
    std::vector<Body> logged(const std::string& ecid = {}) const {
        std::vector<Body> result;
        for (const event& one : events()) {
            const auto* found = std::get_if<Body>(&one.body);
            if (found && (ecid.empty() || (one.device && one.device->ecid == ecid))) {
                result.push_back(*found);
            }
        }
        return result;
    }

    /// The ECIDs of all started tools, in the order of their starts.
    std::vector<std::string> started() const;
    // The last final state and its reason that were logged for the device. They throw
    // std::logic_error without one.
    final_state state(const std::string& ecid) const;
    end_reason reason(const std::string& ecid) const;
    bool over() const { return !decided<run_over>().empty(); }
    int exit_status() const { return decided<run_over>().at(0).exit_status; }
    counts totals() const { return bench_.totals(); }
    bool working() const { return bench_.working(); }
    void forget() { decisions_.clear(); }

private:
    void answer(const decision& one, std::vector<input>& answers);

    bench bench_;
    awake_time now_{1h};
    std::vector<decision> decisions_;
    std::map<std::string, tool_id> tools_;
};

} // namespace vandrel::station
