#include "station/test_bench_play.h"

#include "station/test_bench_model.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vandrel::station {

namespace {

using namespace std::chrono_literals;

class source_of_bytes {
public:
    explicit source_of_bytes(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
    bool empty() const { return bytes_.empty(); }
    unsigned next(unsigned below) {
        if (bytes_.empty()) {
            return 0;
        }
        const unsigned value = bytes_.front();
        bytes_ = bytes_.subspan(1);
        return value % below;
    }

private:
    std::span<const std::uint8_t> bytes_;
};

/// What the world knows of one tool.
struct tool_in_play {
    std::string ecid;
    std::vector<fact> facts;
    bool process = true;
    bool judged = false;
    bool given_up = false;
    std::int32_t operation = 0;
    awake_time last_record{};
};

const std::array<std::string, 5> ecids{"00000000000000A1", "00000000000000A2", "00000000000000A3",
                                       "00000000000000A4", "00000000000000A5"};
constexpr std::array<std::int32_t, 6> operations{0, 13, 18, 28, 39, 80};
constexpr std::array<std::int32_t, 16> firmware{10, 18, 19, 32, 35, 39, 47, 51,
                                                55, 56, 58, 59, 60, 66, 67, 80};

/// The options that a run of the command `recover` has.
void make_recovery(bench_options& options) {
    options.what = command::recover_exit;
    options.erase = false;
    options.any_bundle = false;
    options.bundles.reset();
    options.watch = false;
    options.retries = 0;
    options.stop_after = 0;
    options.time_limit.reset();
}

bench_options random_options(source_of_bytes& bytes) {
    bench_options options;
    const unsigned choice = bytes.next(8);
    options.all = choice < 5;
    if (choice > 2) {
        options.ecids = {ecids[0], ecids[1]};
    }
    if (bytes.next(3) == 0) {
        options.only = {"SERIAL2", ecids[3]};
    }
    options.erase = bytes.next(2) == 0;
    options.terminal = bytes.next(2) == 0;
    options.yes = bytes.next(4) != 0;
    options.any_bundle = bytes.next(4) == 0;
    auto only_bundle = std::make_shared<bundle>();
    only_bundle->identities = {{1, 1}};
    options.bundles = {std::move(only_bundle)};
    options.watch = bytes.next(2) == 0;
    options.at_once = 1 + bytes.next(3);
    options.retries = static_cast<int>(bytes.next(3));
    options.stop_after = bytes.next(4);
    options.stagger = bytes.next(3) * 1s;
    options.poll = (1 + bytes.next(20)) * 1s;
    if (bytes.next(4) == 0) {
        options.count = 1 + bytes.next(3);
    }
    if (bytes.next(3) == 0) {
        options.time_limit = 60s;
    }
    options.stall_timeout = 30s;
    options.linger = 5s;
    options.times.quiet = 10s;
    options.times.never_began = 5s;
    options.times.linger_at_most = 15s;
    options.times.retry_wait = 60s;
    options.dry_run = bytes.next(16) == 0;
    if (bytes.next(8) == 0) {
        options.expect = 1 + bytes.next(3);
    }
    if (bytes.next(4) == 0) {
        options.watch_time = 20s * bytes.next(8);
    }
    if (bytes.next(4) == 0) {
        make_recovery(options);
    }
    return options;
}

class bench_in_play {
public:
    bench_in_play(source_of_bytes bytes, const rule_check& check)
        : bytes_(bytes), check_(check), options_(random_options(bytes_)), bench_(options_) {}

    void play() {
        turn();
        while (!bytes_.empty() && !status_) {
            act();
        }
        end();
    }

private:
    // What happens.
    void act();
    void let_time_pass();
    void tool_acts();
    restore_report random_report();
    void answer_list();
    void answer_others();
    std::vector<listed_device> random_list();
    void end();
    void happens(input what) { pending_.push_back(std::move(what)); }
    void tool_does(tool_id tool, fact what);
    void turn();

    // What is decided, and whether it may be.
    void on(const start_list& what);
    void on(const end_list& what);
    void on(const lock_device& what) { locks_.push_back(what.ecid); }
    void on(const unlock_device& what);
    void on(const ask_consent&);
    void on(const show_choice& what);
    void on(const start_tool& what);
    void on(const end_tool& what);
    void on(const tool_over& what);
    void on(const give_up_tool& what);
    void on(const log_event& what);
    void on(const write_record&);
    void on(const run_over& what);
    void judge(const std::string& ecid, const try_ended& what);
    void check_choice(const start_tool& what) const;
    void device_is(const std::string& key, final_state state) { states_[key] = state; }
    void count(const counts& totals) const;
    void judge_status(int status) const;
    std::size_t at_work() const;

    source_of_bytes bytes_;
    const rule_check& check_;
    bench_options options_;
    bench bench_;
    awake_time given_{};
    /// Without gaps.
    awake_time now_{};
    std::vector<input> pending_;

    std::map<tool_id, tool_in_play> tools_;
    std::map<std::string, tool_id> newest_;
    std::map<std::string, final_state> states_;
    std::set<std::string> in_first_list_;
    std::set<std::string> ever_listed_;
    std::set<std::string> locked_;
    std::vector<std::string> locks_;
    std::optional<list_id> list_;
    std::optional<awake_time> list_ended_;
    bool first_list_over_ = false;
    std::optional<awake_time> last_start_;
    bool asked_ = false;
    std::set<std::string> asked_about_;
    bool consented_ = false;
    bool cancelled_ = false;
    bool hole_ = false;
    bool record_is_asked_for_ = false;
    bool record_is_written_ = false;
    bool session_over_ = false;
    std::uint64_t seq_ = 0;
    std::optional<int> status_;
};

void bench_in_play::act() {
    switch (bytes_.next(16)) {
    case 0:
    case 1:
    case 2:
        let_time_pass();
        break;
    case 3:
    case 4:
        answer_list();
        break;
    case 5:
    case 6:
        answer_others();
        break;
    case 7:
        happens(usb_arrival{});
        break;
    case 8:
        if (bytes_.next(8) == 0) {
            happens(user_cancelled{});
            cancelled_ = cancelled_ || !record_is_asked_for_;
        }
        break;
    case 9:
        if (bytes_.next(64) == 0) {
            happens(session_ends{});
            cancelled_ = cancelled_ || !record_is_asked_for_;
            session_over_ = true;
        }
        break;
    case 10:
        if (bytes_.next(32) == 0) {
            pending_.insert(pending_.begin(), log_has_hole{"full"});
            hole_ = true;
        }
        break;
    default:
        tool_acts();
    }
    if (bytes_.next(2) == 0) {
        turn();
    }
}

void bench_in_play::let_time_pass() {
    const unsigned kind = bytes_.next(8);
    if (kind == 0) {
        given_ += bytes_.next(2) == 0 ? awake_time(-3600s) : awake_time(3600s);
        turn();
        return;
    }
    for (unsigned seconds = bytes_.next(kind * 6) + 1; seconds > 0; --seconds) {
        const awake_time passed = bytes_.next(4) == 0 ? 250ms : 1000ms;
        given_ += passed;
        now_ += passed;
        turn();
    }
}

std::vector<listed_device> bench_in_play::random_list() {
    std::vector<listed_device> devices;
    const unsigned shown = bytes_.next(32);
    for (unsigned index = 0; index < ecids.size(); ++index) {
        if ((shown >> index & 1u) == 0) {
            continue;
        }
        device_properties properties;
        properties.chip_id = index == 4 ? 2 : 1;
        properties.board_id = 1;
        properties.serial_number = "SERIAL" + std::to_string(index);
        devices.push_back({ecids.at(index), properties});
    }
    return devices;
}

void bench_in_play::answer_list() {
    if (!list_) {
        return;
    }
    const list_id list = *std::exchange(list_, std::nullopt);
    std::vector<listed_device> devices = random_list();
    switch (bytes_.next(8)) {
    case 0:
        happens(list_not_had{list, list_failure::no_list, ""});
        return;
    case 1:
        devices.push_back({ecids[2], {}});
        devices.push_back({ecids[2], {}});
        break;
    case 2:
        devices.push_back({"rubbish", {}});
        break;
    default:
        for (const listed_device& device : devices) {
            if (!first_list_over_) {
                in_first_list_.insert(device.ecid);
            }
            ever_listed_.insert(device.ecid);
        }
        first_list_over_ = true;
    }
    happens(list_arrived{list, std::move(devices)});
}

void bench_in_play::answer_others() {
    for (const std::string& ecid : std::exchange(locks_, {})) {
        if (bytes_.next(5) == 0) {
            happens(lock_held{ecid, 1});
        } else {
            happens(lock_obtained{ecid});
            locked_.insert(ecid);
        }
    }
    if (asked_ && !consented_) {
        std::string wanted = options_.watch ? "ERASE" : std::to_string(locked_.size());
        if (!options_.erase) {
            wanted = "y";
        }
        consented_ = bytes_.next(4) != 0;
        happens(consent_answer{consented_ ? wanted : "no"});
    }
    if (record_is_asked_for_ && !std::exchange(record_is_written_, true)) {
        happens(record_written{});
    }
}

restore_report bench_in_play::random_report() {
    restore_report report;
    report.operation = operations.at(bytes_.next(operations.size()));
    report.progress = std::int64_t{50} * bytes_.next(3);
    report.status = bytes_.next(12) == 0 ? "Failed" : "Restoring";
    switch (bytes_.next(16)) {
    case 0:
        report.error = std::int64_t{0};
        break;
    case 1:
        report.error = std::int64_t{-1};
        break;
    case 2:
        report.error = error_dictionary{0, "domain", "text"};
        break;
    case 3:
        report.error = std::string();
        break;
    case 4:
        report.error = 0.0;
        break;
    default:
        break;
    }
    return report;
}

void bench_in_play::tool_does(tool_id tool, fact what) {
    tool_in_play& run = tools_.at(tool);
    if (!run.judged) {
        run.facts.push_back(what);
    }
    const bool record =
        !std::holds_alternative<stream_ended>(what) && !std::holds_alternative<process_ended>(what);
    if (record) {
        run.last_record = now_;
    }
    std::visit(
        [this](auto& one) {
            if constexpr (std::is_constructible_v<input, decltype(one)>) {
                happens(one);
            }
        },
        what);
}

void bench_in_play::tool_acts() {
    if (tools_.empty()) {
        return;
    }
    const auto chosen =
        std::next(tools_.begin(), bytes_.next(static_cast<unsigned>(tools_.size())));
    const tool_id tool = chosen->first;
    tool_in_play& run = chosen->second;
    switch (bytes_.next(8)) {
    case 0:
        if (run.process && run.facts.empty()) {
            run.process = false;
            tool_does(tool, tool_not_started{tool, "none"});
        }
        break;
    case 1:
        if (run.process) {
            run.process = false;
            tool_does(tool, process_ended{tool, static_cast<std::int64_t>(bytes_.next(3))});
        }
        break;
    case 2:
        tool_does(tool, stream_ended{tool});
        break;
    case 3:
        // A command_succeeded means nothing in a restore. It completes a recovery.
        if (bytes_.next(4) == 0) {
            tool_does(tool, command_succeeded{tool});
        } else {
            tool_does(tool, record_unreadable{tool});
        }
        break;
    case 4: {
        const std::int64_t code = 2 + bytes_.next(6);
        const char* domain = bytes_.next(2) == 0 ? "vandrel" : "other";
        tool_does(tool, internal_error{tool, {domain, code, ""}});
        break;
    }
    default: {
        const restore_report report = random_report();
        run.operation = report.operation;
        tool_does(tool, report_arrived{tool, report});
    }
    }
}

/// Lists, locks and questions are answered, and the user cancels each second: the run has to end.
void bench_in_play::end() {
    cancelled_ = cancelled_ || !record_is_asked_for_;
    for (int seconds = 0; seconds < 120 && !status_; ++seconds) {
        if (list_) {
            happens(list_arrived{*std::exchange(list_, std::nullopt), {}});
        }
        answer_others();
        happens(user_cancelled{});
        given_ += 1s;
        now_ += 1s;
        turn();
    }
    check_(status_.has_value(), "a run that is cancelled again and again is over in two minutes");
    const std::vector<input> late{user_cancelled{}, usb_arrival{}};
    check_(bench_.turn(given_, late).empty(), "nothing is decided after the end");
}

void bench_in_play::turn() {
    const std::vector<input> happened = std::exchange(pending_, {});
    for (const decision& one : bench_.turn(given_, happened)) {
        check_(!status_, "the end of the run is the last decision");
        std::visit([this](const auto& what) { on(what); }, one);
    }
    // A list that was ended and still has no answer after 30 s is left to itself.
    if (list_ended_ && now_ - *list_ended_ >= 30s) {
        list_ended_.reset();
        list_.reset();
    }
}

void bench_in_play::on(const start_list& what) {
    const bool given_up = list_ended_ && now_ - *list_ended_ >= 30s;
    check_(!list_ || given_up, "never two lists at a time");
    check_(!last_start_ || now_ - *last_start_ >= 5s, "no list within 5 s of a tool's start");
    list_ = what.list;
    list_ended_.reset();
}

void bench_in_play::on(const end_list& what) {
    // The list's answer can come in the turn in which the list is ended.
    check_((!list_ || list_ == what.list) && !list_ended_, "a list is ended once");
    if (list_) {
        list_ended_ = now_;
    }
}

void bench_in_play::on(const unlock_device& what) {
    check_(locked_.erase(what.ecid) == 1, "only what is locked is unlocked");
}

void bench_in_play::on(const ask_consent& what) {
    check_(!asked_ && options_.terminal && !options_.yes, "a question once, and only when needed");
    asked_ = true;
    for (const listed_device& device : what.devices) {
        check_(locked_.contains(device.ecid), "the question is about locked devices");
        asked_about_.insert(device.ecid);
    }
    check_(!options_.dry_run, "a dry run asks nothing");
    check_(options_.expect.value_or(asked_about_.size()) == asked_about_.size(),
           "no question when another number of devices is expected");
}

void bench_in_play::on(const show_choice& what) {
    check_(options_.dry_run, "only a dry run does no more than show its choice");
    check_(what.devices.size() == locked_.size(), "all that would be worked on are shown");
}

std::size_t bench_in_play::at_work() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(tools_, [](const auto& entry) { return !entry.second.judged; }));
}

void bench_in_play::check_choice(const start_tool& what) const {
    check_(options_.yes || consented_ || (!options_.erase && !options_.terminal),
           "no device is touched without consent");
    check_(!options_.dry_run, "a dry run touches nothing");
    check_(!asked_ || options_.watch || asked_about_.contains(what.ecid),
           "no device is touched that the question did not have");
    check_(!tools_.empty() || asked_ || options_.expect.value_or(locked_.size()) == locked_.size(),
           "nothing is touched when another number of devices is expected");
    const bool watch_over = options_.watch && options_.watch_time && now_ >= *options_.watch_time;
    check_(!watch_over || what.try_number > 1, "no device is begun when the watch is over");
    check_(options_.watch ? ever_listed_.contains(what.ecid) : in_first_list_.contains(what.ecid),
           "no device is touched that was not asked about");
    const bool named = options_.ecids.contains(what.ecid) ||
                       (!options_.only.empty() && (what.ecid == ecids[2] || what.ecid == ecids[3]));
    check_(options_.all || named, "no device is touched that was not chosen");
    check_(!options_.bundles || what.ecid != ecids[4],
           "no device is touched that the bundle is not for");
}

void bench_in_play::on(const start_tool& what) {
    for (const auto& [tool, run] : tools_) {
        check_(run.ecid != what.ecid || !run.process || (run.judged && !run.given_up),
               "never two tools on one device");
    }
    check_(at_work() < options_.at_once, "never more tools than at once");
    check_(!last_start_ || now_ - *last_start_ >= options_.stagger, "starts are a stagger apart");
    check_(!cancelled_, "nothing is begun after Ctrl-C");
    check_(locked_.contains(what.ecid), "a device is locked while a tool runs on it");
    check_choice(what);
    check_(what.try_number <= options_.retries + 1, "no more tries than asked for");
    tool_in_play& run = tools_[what.tool];
    run.ecid = what.ecid;
    run.last_record = now_;
    newest_[what.ecid] = what.tool;
    states_.erase(what.ecid);
    last_start_ = now_;
}

void bench_in_play::on(const end_tool& what) {
    tool_in_play& run = tools_.at(what.tool);
    check_(run.process && !run.judged, "only a running tool is ended");
    check_(std::ranges::none_of(
               run.facts, [](const fact& one) { return std::holds_alternative<end_tool>(one); }),
           "a tool is ended once");
    if (what.why == end_tool_why::silence) {
        check_(std::ranges::find(firmware, run.operation) == firmware.end(),
               "none is ended for silence in a firmware operation");
        check_(now_ - run.last_record >= options_.stall_timeout, "none is ended before its time");
    }
    check_(what.why != end_tool_why::time_limit || options_.time_limit, "a limit that was given");
    check_(what.why != end_tool_why::user || cancelled_,
           "none is ended for a user who did not ask");
    run.facts.emplace_back(what);
}

void bench_in_play::on(const tool_over& what) {
    check_(!tools_.at(what.tool).process, "a tool is over when its process has ended");
}

void bench_in_play::on(const give_up_tool& what) {
    tool_in_play& run = tools_.at(what.tool);
    check_(run.process, "no tool is given up that has gone");
    run.given_up = true;
    const auto ended = std::ranges::find_if(
        run.facts, [](const fact& one) { return std::holds_alternative<end_tool>(one); });
    check_(ended != run.facts.end(), "a tool is ended before it is given up");
}

void bench_in_play::on(const log_event& what) {
    const event& logged = what.what;
    check_(logged.seq == ++seq_, "seq without gaps");
    check_(logged.t == now_, "the time of an event leaves gaps out");
    std::string key;
    if (logged.device) {
        key = logged.device->ecid.empty() ? logged.device->serial_number : logged.device->ecid;
    }
    if (const auto* body = std::get_if<try_ended>(&logged.body)) {
        judge(key, *body);
    } else if (const auto* ended = std::get_if<device_ended>(&logged.body)) {
        check_(ended->reason == end_reason::not_back || ended->reason == end_reason::came_back ||
                   !ended->last_try || ended->last_try->state == ended->state,
               "a device ends as its last try");
        device_is(key, ended->state);
    } else if (std::holds_alternative<device_left_alone>(logged.body)) {
        device_is(key, final_state::left_alone);
    } else if (const auto* over = std::get_if<run_ended>(&logged.body)) {
        count(over->totals);
    }
}

void bench_in_play::judge(const std::string& ecid, const try_ended& what) {
    tool_in_play& run = tools_.at(newest_.at(ecid));
    check_(!run.judged, "a try ends once");
    run.judged = true;
    std::vector<fact> facts = run.facts;
    // At the end of the session nobody waits for a tool to go.
    if (run.given_up && !session_over_) {
        facts.emplace_back(given_up{});
    }
    const std::string found =
        std::string(name_of(what.state)) + " " + std::string(name_of(what.reason));
    check_(found == expected_end(options_.what, facts), "a try ends as the list of events says");
    check_(!what.will_retry || (!cancelled_ && !run.given_up), "no retry after the end");
}

void bench_in_play::count(const counts& totals) const {
    const auto in = [this](final_state state) {
        return static_cast<std::size_t>(
            std::ranges::count(states_, state, [](const auto& entry) { return entry.second; }));
    };
    check_(totals.chosen == states_.size(), "each device is counted");
    check_(totals == counts{states_.size(), in(final_state::restored), in(final_state::failed),
                            in(final_state::timed_out), in(final_state::stalled),
                            in(final_state::cancelled), in(final_state::missing),
                            in(final_state::left_alone)},
           "the counts are those of the events");
}

void bench_in_play::on(const write_record&) {
    check_(!record_is_asked_for_, "the record is written once");
    record_is_asked_for_ = true;
}

void bench_in_play::on(const run_over& what) {
    check_(record_is_asked_for_, "no end before the record is written");
    status_ = what.exit_status;
    judge_status(what.exit_status);
    for (const auto& [tool, run] : tools_) {
        check_(run.judged, "no try is left without an end");
    }
}

void bench_in_play::judge_status(int status) const {
    const bool good =
        options_.dry_run || std::ranges::all_of(states_, [](const auto& entry) {
            return entry.second == final_state::restored || entry.second == final_state::left_alone;
        });
    check_((status != 0 && status != 5) || good, "0 and 5 only when all is done");
    check_(status != 5 || hole_, "5 only with a hole in the log");
    check_(status != 0 || !hole_, "0 never with a hole in the log");
    check_(status != 130 || cancelled_, "130 only after Ctrl-C");
    check_(status != 1 || !cancelled_, "1 never after Ctrl-C");
    check_((status != 2 && status != 4) || tools_.empty(), "2 and 4 only when nothing was touched");
    check_(status != 3 || tools_.empty(), "3 only when there was nothing to do");
}

} // namespace

void play_bench(std::span<const std::uint8_t> bytes, const rule_check& check) {
    bench_in_play(source_of_bytes(bytes), check).play();
}

} // namespace vandrel::station
