#include "station/event_text.h"

#include "station/bundle.h"
#include "station/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace vandrel::station {

namespace {

std::string minutes_text(awake_time time) {
    return hours_minutes_seconds(time);
}

std::string describe_reason(const device_left_alone& body) {
    if (body.reason == end_reason::held) {
        return body.holder ? fmt::format("another station works on it: process {}", *body.holder)
                           : "another station works on it";
    }
    return describe_end(body.reason, nullptr);
}

std::string where_text(const std::optional<operation_progress>& where) {
    return where ? " in " + describe(*where) : std::string();
}

std::string describe_warning(const warning& body) {
    const std::string error = body.error ? describe(*body.error) : std::string();
    switch (body.kind) {
    case warning_kind::error_in_report:
        return error + where_text(body.where) + "; the restore goes on";
    case warning_kind::unreadable_record:
        return "a record cannot be read; the run's folder has it";
    case warning_kind::after_completion:
        break;
    }
    std::string text = "after the restore had completed: ";
    text += body.error ? error
                       : (body.exit_status ? fmt::format("exit status {}", *body.exit_status)
                                           : std::string("a failure was reported"));
    return text;
}

struct describer {
    awake_time t;

    event_text operator()(const run_started& body) const {
        std::string what = body.erase ? "restore and erase" : "restore";
        if (body.what != command::restore) {
            what = body.what == command::recover_exit ? "leave Recovery mode"
                                                      : "stay in Recovery mode";
        }
        return {"run", what + (body.watch ? ", and watch for more devices" : "")};
    }
    event_text operator()(const device_found& body) const {
        if (!body.properties) {
            return {"found", "its properties are not known"};
        }
        const device_properties& properties = *body.properties;
        std::string text = properties.product_string;
        for (const std::string* each : {&properties.model, &properties.serial_number}) {
            text += (text.empty() || each->empty() ? "" : ", ") + *each;
        }
        return {"found", printable(text)};
    }
    event_text operator()(const device_left_alone& body) const {
        return {"LEFT", describe_reason(body)};
    }
    event_text operator()(const try_started& body) const {
        return {"started", body.with ? version_text(*body.with) : std::string()};
    }
    event_text operator()(const operation& body) const { return {"running", describe(body)}; }
    event_text operator()(const progress& body) const { return {"running", describe(body)}; }
    event_text operator()(const quiet& body) const {
        const awake_time silence = t - body.since;
        return {"QUIET", body.never_began ? "the restore has not begun for " + minutes_text(silence)
                                          : "no report for " + minutes_text(silence)};
    }
    event_text operator()(const quiet_over&) const { return {"running", "reports come again"}; }
    event_text operator()(const device_away&) const { return {"away", "not in the last list"}; }
    event_text operator()(const device_back&) const { return {"back", ""}; }
    event_text operator()(const failure_reported& body) const {
        const std::string error = body.error ? describe(*body.error) : "a failure";
        return {"FAILING", error + " in " + describe(body.where)};
    }
    event_text operator()(const warning& body) const { return {"WARNING", describe_warning(body)}; }
    event_text operator()(const try_ended& body) const {
        return {word_of(body.state), describe_end(body.reason, &body) +
                                         (body.will_retry ? "; it will be tried again" : "")};
    }
    event_text operator()(const device_ended& body) const {
        const auto* last = body.last_try ? &*body.last_try : nullptr;
        return {word_of(body.state),
                describe_end(body.reason, last) +
                    (body.tries > 1 ? fmt::format(", after {} tries", body.tries) : "")};
    }
    event_text operator()(const list_failed& body) const {
        return {"WARNING", fmt::format("no list of devices ({}){}{}", name_of(body.why),
                                       body.text.empty() ? "" : ": ", printable(body.text))};
    }
    event_text operator()(const clock_gap& body) const {
        return {"clock",
                "the clock jumped by " + minutes_text(body.length) + "; silence is counted anew"};
    }
    event_text operator()(const log_incomplete& body) const {
        return {"WARNING", "the run's record is incomplete: " + printable(body.text)};
    }
    event_text operator()(const stopped_after& body) const {
        return {"STOPPED",
                fmt::format("{} failures in a row: no more devices are begun", body.failures)};
    }
    event_text operator()(const cancel& body) const {
        if (body.stage == 0) {
            return {"CANCEL", "the session ends"};
        }
        if (body.stage == 1) {
            return {"CANCEL",
                    "no more devices are begun; press Ctrl-C again to end the running ones"};
        }
        if (body.writing_firmware.empty()) {
            return {"CANCEL", "the running tools are ended"};
        }
        std::vector<std::string> names;
        for (const event_device& each : body.writing_firmware) {
            names.push_back(place_of(each) + " " + printable(each.ecid));
        }
        return {"CANCEL", fmt::format("{} write firmware and go on; press Ctrl-C within 10 seconds "
                                      "to end them too",
                                      fmt::join(names, ", "))};
    }
    event_text operator()(const run_ended& body) const {
        return {"end", fmt::format("{} of {} restored, status {}", body.totals.restored,
                                   body.totals.chosen, body.exit_status)};
    }
};

} // namespace

event_text describe(const event& what) {
    return std::visit(describer{what.t}, what.body);
}

std::string describe(const error_details& error) {
    std::string text = error.code ? fmt::format("error {}", *error.code) : std::string("an error");
    if (!error.domain.empty()) {
        text += " (" + printable(error.domain) + ")";
    }
    if (!error.text.empty()) {
        text += ": " + printable(error.text);
    }
    return text;
}

std::string describe(const operation_progress& where) {
    const std::string name = where.name.empty() || where.name == "Unknown"
                                 ? fmt::format("operation {}", where.operation)
                                 : printable(where.name);
    return fmt::format("{} at {} %", name, where.progress);
}

std::string describe_end(end_reason reason, const try_result* last_try) {
    const std::string where = last_try != nullptr ? where_text(last_try->last_operation) : "";
    switch (reason) {
    case end_reason::completed:
        return "complete";
    case end_reason::device_error:
    case end_reason::tool_error:
        return (last_try != nullptr && last_try->error ? describe(*last_try->error)
                                                       : std::string("a failure")) +
               where;
    case end_reason::no_completion:
        return "the tool ended without a completing report" + where;
    case end_reason::tool_crashed:
        return last_try != nullptr && last_try->exit_status
                   ? fmt::format("the tool ended abnormally with status {}{}",
                                 *last_try->exit_status, where)
                   : "the tool ended abnormally" + where;
    case end_reason::tool_not_started:
        return "the tool could not be started" +
               (last_try != nullptr && last_try->error && !last_try->error->text.empty()
                    ? ": " + printable(last_try->error->text)
                    : std::string());
    case end_reason::tool_given_up:
        return "the tool does not end" + where;
    case end_reason::not_back:
        return "it was to be tried again and did not come back";
    case end_reason::came_back:
        return "it was restored and came back soon after: it does not start";
    case end_reason::time_limit:
        return "the time limit has passed" + where;
    case end_reason::silence:
        return "no report came any more" + where;
    case end_reason::never_began:
        return "the restore never began";
    case end_reason::user:
        return "cancelled" + where;
    case end_reason::never_seen:
        return "it was never seen";
    case end_reason::unfit:
        return "the bundle is not for it";
    case end_reason::no_bundle:
        return "no bundle in the folder is for it";
    case end_reason::no_room:
        return "its bundle needs more room than there is";
    case end_reason::held:
        return "another station works on it";
    case end_reason::stopped:
        return "not begun: too many failures in a row";
    case end_reason::watch_over:
        return "not begun: the watch was over";
    case end_reason::not_begun:
        return "not begun";
    }
    return {};
}

std::string word_of(final_state state) {
    switch (state) {
    case final_state::restored:
        return "restored";
    case final_state::failed:
        return "FAILED";
    case final_state::timed_out:
        return "TIMED OUT";
    case final_state::stalled:
        return "STALLED";
    case final_state::cancelled:
        return "CANCELLED";
    case final_state::missing:
        return "MISSING";
    case final_state::left_alone:
        return "LEFT";
    }
    return {};
}

std::string advice_for(end_reason reason) {
    switch (reason) {
    case end_reason::device_error:
    case end_reason::silence:
    case end_reason::time_limit:
    case end_reason::no_completion:
        return "Put it into Recovery mode or DFU, and restore it again with another cable.";
    case end_reason::tool_error:
    case end_reason::tool_crashed:
    case end_reason::never_began:
        return "Look at its diagnostics, plug it in anew, and restore it again.";
    case end_reason::tool_not_started:
        return "Check that all files of the tool are installed.";
    case end_reason::tool_given_up:
        return "Unplug it. If the tool still runs, restart the computer.";
    case end_reason::not_back:
    case end_reason::never_seen:
        return "Look at its cable and port, and whether it is in Recovery mode or DFU.";
    case end_reason::came_back:
        return "Put it aside: it was restored, and does not start.";
    case end_reason::unfit:
        return "Choose the bundle that is for it.";
    case end_reason::no_bundle:
        return "Copy the bundle that is for it into the folder.";
    case end_reason::no_room:
        return "Give a folder with more room, with --scratch.";
    case end_reason::held:
        return "Wait for the other station.";
    default:
        return {};
    }
}

std::string version_text(const bundle& what) {
    return fmt::format("{} ({})", printable(what.version), printable(what.build));
}

std::string place_of(const event_device& device) {
    if (!device.slot.empty()) {
        return printable(device.slot);
    }
    return device.location_id != 0 ? location_text(device.location_id) : "-";
}

std::string location_text(std::uint32_t location_id) {
    return fmt::format("0x{:08x}", location_id);
}

} // namespace vandrel::station
