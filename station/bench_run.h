#pragma once

/// What is behind `bench`: one run, from its first turn to its end. Its functions are grouped by
/// source: bench.cpp (turns), bench_lists.cpp (what a list brings), bench_choice.cpp (until
/// consent), bench_tools.cpp (tools, tries, devices), bench_end.cpp (cancelling, the end).

#include "station/bench.h"
#include "station/bench_options.h"
#include "station/device_record.h"
#include "station/events.h"
#include "station/list_schedule.h"
#include "station/outcome.h"

#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace vandrel::station {

class bench_run {
public:
    explicit bench_run(bench_options options) : options_(std::move(options)), lists_(options_) {}

    std::vector<decision> turn(awake_time now, std::span<const input> happened);
    bool working() const;
    counts totals() const;

private:
    enum class phase { fresh, first_list, locking, asking, working, writing, over };

    // bench.cpp
    void advance_clock(awake_time now);
    /// `cancels`: takes each `user_cancelled`; otherwise, all others.
    void take(std::span<const input> happened, bool cancels);
    bool still_counts(const input& what) const;
    void look_at_limits();
    void log(event_body body, event_level level, const device_record* device = nullptr);
    void log(std::vector<event_body> bodies, const device_record& device);

    // bench_lists.cpp
    void on(const list_arrived& list);
    void on(const list_continued& list);
    void on(const list_not_had& list);
    void on(const bundles_read& what);
    void on(const usb_arrival&);
    void list_has_failed(list_failure why, std::string text);
    void take_list(list_id list, const std::vector<listed_device>& devices);
    void add_devices(const std::vector<listed_device>& devices);
    void take_properties(const std::vector<listed_device>& devices);
    void take_shown(device_record& device);
    void take_absent(device_record& device);
    void new_visit(device_record& device);
    void look_at_visits();
    void begin_list();
    std::vector<std::string> without_properties() const;

    // bench_choice.cpp
    void start();
    void consider(device_record& device);
    std::optional<end_reason> reason_against(const device_record& device) const;
    void name_model(device_properties& properties) const;
    void on(const lock_obtained& lock);
    void on(const lock_held& lock);
    void on(const consent_answer& answer);
    void decide();
    void add_missing();
    void add_missing_device(const std::string& key, const std::string& ecid,
                            const std::string& serial_number);
    ask_consent question() const;

    // bench_tools.cpp
    void on(const tool_not_started& what);
    void on(const report_arrived& what);
    void on(const command_succeeded& what);
    void on(const internal_error& what);
    void on(const record_unreadable& what);
    void on(const process_ended& what);
    void on(const stream_ended& what);
    device_record* owner(tool_id tool);
    void look_at_tools();
    void look_at_tool(device_record& device);
    void look_at_retries();
    void end_tool_of(device_record& device, end_tool_why why);
    void finish_try(device_record& device);
    void begin_tools();
    void begin_tool(device_record& device);
    bool has_room_beside_others(const device_record& device) const;
    device_record* next_to_begin();
    void end_device(device_record& device, final_state state, end_reason reason);
    void leave_alone(device_record& device, end_reason reason,
                     std::optional<std::int64_t> holder = {});
    void unlock(device_record& device);
    void count_in_a_row(final_state state);

    // bench_end.cpp
    void on(const user_cancelled&);
    void on(const session_ends&);
    void end_session();
    void on(const log_has_hole& hole);
    void on(const record_written&);
    void end_tools(bool firmware_too);
    void end_retries();
    bool no_new_device() const;
    void look_at_end();
    void settle_rest();
    bool all_done() const;
    /// Ends all devices. The run is over once its record is written.
    void finish();

    bench_options options_;
    list_schedule lists_;
    phase phase_ = phase::fresh;
    std::vector<decision> out_;

    /// The caller's time of the last turn, and the run's own, which leaves gaps out.
    awake_time given_{};
    awake_time now_{};
    std::uint64_t seq_ = 0;

    /// By ECID; one that was named by its serial number and never seen, by that.
    std::map<std::string, device_record> devices_;
    std::map<tool_id, device_record*> running_;
    /// Of the devices in the last list, as far as they are known.
    std::map<std::string, device_properties> known_;
    std::set<std::string> begun_;
    /// The ECIDs of tools that did not go.
    std::map<tool_id, std::string> given_up_;

    tool_id last_tool_ = 0;
    std::optional<awake_time> last_start_;
    std::size_t failures_in_a_row_ = 0;
    bool stopped_ = false;
    bool cancelled_ = false;
    bool session_over_ = false;
    /// Until then, one more Ctrl-C also ends the tools that write firmware.
    std::optional<awake_time> third_cancel_until_;
    bool dry_ = false;
    /// At least one chosen device fitted and was locked.
    bool had_work_ = false;
    bool named_unfit_ = false;
    outcome outcome_;
};

} // namespace vandrel::station
