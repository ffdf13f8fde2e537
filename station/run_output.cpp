#include "station/run_output.h"

#include "station/event_text.h"
#include "station/host.h"
#include "station/terminal.h"
#include "station/text.h"
#include "station/version.h"

#include <algorithm>
#include <utility>

namespace vandrel::station {

namespace {

using std::chrono::steady_clock;
using std::chrono::system_clock;

constexpr std::size_t queue_bytes = std::size_t{8} * 1024 * 1024;
constexpr std::size_t history_bytes = std::size_t{1024} * 1024;
/// It is a small file, and nothing depends on it.
constexpr auto last_writing_of_history = std::chrono::milliseconds(500);

summary_facts facts_of(const run_settings& settings, const run_facts& facts) {
    summary_facts result;
    result.run = facts.run;
    result.version = version;
    result.command = name_of(settings.options.what);
    result.erase = settings.options.erase;
    result.expected = settings.options.expect;
    if (settings.made_for) {
        result.bundle_version = settings.made_for->version;
        result.bundle_build = settings.made_for->build;
        result.bundle_path = text_of(settings.made_for->path);
    }
    result.folder = text_of(settings.run_folder);
    result.tags = facts.tags;
    result.started = system_clock::now();
    return result;
}

live_facts live_facts_of(const run_settings& settings) {
    return {settings.options.what, settings.options.erase, settings.options.watch,
            !settings.slots.empty(),
            settings.made_for ? version_text(*settings.made_for) : std::string()};
}

bool wants_live_view(const run_settings& settings) {
    return !settings.arguments.json && !settings.arguments.plain && !settings.options.dry_run &&
           terminal::can_be_drawn_on();
}

} // namespace

run_output::run_output(const run_settings& settings)
    : settings_(settings),
      facts_{run_name(settings.run_folder), settings.arguments.tags},
      plain_(!settings.slots.empty(), settings.options.what),
      output_(queue_bytes),
      history_(history_bytes) {
    if (!settings.options.dry_run) {
        try {
            folder_ = std::make_unique<run_folder>(settings.run_folder);
        } catch (const std::exception& error) {
            throw refusal(static_cast<int>(early_exit::cannot_work), error.what());
        }
    }
    if (wants_live_view(settings)) {
        const auto left = [this](const std::string& ecid, awake_time now) {
            return times_ ? times_->of(ecid, now) : std::nullopt;
        };
        live_ = std::make_unique<live_output>(live_view(live_facts_of(settings), left), output_,
                                              !settings.arguments.quiet);
    }
    summary_.emplace(facts_of(settings, facts_));
    write_summary();
    if (settings.options.what == command::restore && !settings.options.dry_run) {
        times_.emplace(load_history(history_file()),
                       settings.made_for ? settings.made_for->build : "", settings.options.erase);
    }
    if (!settings.arguments.json && !settings.options.dry_run) {
        const auto ahead = offset_of_local_time(system_clock::now());
        show("Times are local (" + zone_text(ahead) + ").\n");
    }
}

void run_output::take(const event& what) {
    const auto now = system_clock::now();
    const std::string line = json_line(what, facts_, now, follow_times(what));
    if (folder_) {
        folder_->log(line);
    }
    if (settings_.arguments.json) {
        lines_ += line;
    } else if (!settings_.options.dry_run || what.level != event_level::info) {
        const auto local_time = local_time_of_day(now);
        if (live_) {
            live_->take(what, local_time);
        }
        if (!is_live()) {
            lines_ += plain_.line_for(what, local_time);
        }
    }
    has_told_of_hole_ |= std::holds_alternative<log_incomplete>(what.body);
    summary_->take(what, now);
    if (std::holds_alternative<device_ended>(what.body) ||
        std::holds_alternative<run_ended>(what.body)) {
        write_summary();
    }
}

std::optional<awake_time> run_output::follow_times(const event& what) {
    if (!times_) {
        return {};
    }
    if (auto restored = times_->take(what)) {
        history_.post(
            0, [restored = std::move(*restored)] { add_to_history(history_file(), restored); });
    }
    return std::holds_alternative<operation>(what.body) ? times_->of(what.device->ecid, what.t)
                                                        : std::nullopt;
}

void run_output::flush() {
    if (folder_) {
        folder_->flush();
    }
    if (!lines_.empty()) {
        // What a reader does not take in time is in the run's folder.
        const std::size_t size = lines_.size();
        output_.post(
            size, [lines = std::exchange(lines_, {})] { write_all(standard_stream::out, lines); });
    }
    if (live_) {
        live_->flush();
    }
}

void run_output::show(const std::string& text) {
    flush();
    const auto stream = settings_.arguments.json ? standard_stream::error : standard_stream::out;
    output_.post(text.size(), [stream, text] { write_all(stream, text); });
}

void run_output::complain(const std::string& why) {
    flush();
    complaints_ += "vandrel-station: " + printable(why) + "\n";
    // They would be written into the screen.
    if (!is_live()) {
        write_complaints();
    }
}

void run_output::write_complaints() {
    const std::size_t size = complaints_.size();
    output_.post(size, [lines = std::exchange(complaints_, {})] {
        write_all(standard_stream::error, lines);
    });
}

void run_output::write_summary() {
    if (folder_) {
        folder_->replace("summary.json", summary_->json());
        folder_->replace("summary.csv", summary_->csv());
    }
}

void run_output::finish(steady_clock::time_point until) {
    flush();
    if (is_live()) {
        live_->close();
        write_complaints();
    }
    const auto left = [until] {
        return std::chrono::duration_cast<std::chrono::milliseconds>(until - steady_clock::now());
    };
    if (folder_ && !settings_.arguments.json) {
        show(summary_->text());
    }
    if (const std::string why = summary_->refusal_text(); !why.empty()) {
        complain(why);
    }
    if (folder_) {
        folder_->finish(left());
        if (const auto hole = folder_->hole(); hole && !has_told_of_hole_) {
            // Lost with the end of the run: too late for an event.
            complain("the run's record is incomplete: " + *hole);
        }
    }
    // Also when the folder has used up the time.
    output_.drain(std::max(left(), std::chrono::milliseconds(1000)));
    history_.drain(last_writing_of_history);
}

} // namespace vandrel::station
