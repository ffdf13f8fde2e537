#include "station/report_page.h"

#include "station/event_text.h"
#include "station/markup.h"
#include "station/report_style.h"
#include "station/text.h"
#include "station/time_picture.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <vector>

namespace vandrel::station {

namespace {

using visit_list = std::vector<const recorded_visit*>;

/// "2026-03-01 02:58:10 UTC"; any text but a time of ours as it is.
std::string time_text(const std::string& time) {
    constexpr std::size_t seconds_end = 19;
    if (time.size() <= seconds_end || time[10] != 'T' || time.back() != 'Z') {
        return time;
    }
    return time.substr(0, 10) + " " + time.substr(11, 8) + " UTC";
}

std::string duration_text(const std::optional<awake_time>& duration) {
    return duration ? hours_minutes_seconds(*duration) : "";
}

const std::string& place_of(const recorded_visit& visit) {
    return visit.slot.empty() ? visit.location : visit.slot;
}

/// "timed_out" as "timed out".
std::string words_of(std::string name) {
    std::ranges::replace(name, '_', ' ');
    return name;
}

std::string operation_text(const recorded_visit& visit) {
    if (!visit.operation) {
        return "";
    }
    return describe(operation_progress{static_cast<std::int32_t>(*visit.operation),
                                       visit.operation_name, visit.progress.value_or(0)});
}

/// What a person does about a device that ended so, by the name of the reason.
std::string advice_on(const std::string& reason) {
    for (int each = 0; each <= static_cast<int>(end_reason::not_begun); ++each) {
        if (name_of(static_cast<end_reason>(each)) == reason) {
            return advice_for(static_cast<end_reason>(each));
        }
    }
    return {};
}

/// The CSS class of its state, by which the word gets its colour and a sign before it.
const char* kind_of(const recorded_visit& visit) {
    if (is_failure(visit)) {
        return "bad";
    }
    if (!visit.has_ended) {
        return visit.state == "failing" || visit.state == "quiet" ? "alarm" : "open";
    }
    return visit.state == name_of(final_state::restored) ? "good" : "left";
}

class page_writer {
public:
    page_writer(const run_record& record, const page_facts& facts)
        : record_(record), facts_(facts) {
        for (const recorded_visit& each : record.visits) {
            sorted_.push_back(&each);
        }
        std::ranges::stable_sort(sorted_, {}, [](const recorded_visit* each) {
            return std::pair(each->slot.empty(), place_of(*each));
        });
        std::ranges::copy_if(sorted_, std::back_inserter(failures_),
                             [](const recorded_visit* each) { return is_failure(*each); });
    }

    std::string page() {
        head();
        totals();
        run();
        picture();
        devices();
        failures();
        remarks();
        add("<footer>Made {} by vandrel-station {} from {}</footer>\n</body>\n</html>\n",
            markup_text(time_text(facts_.made)), markup_text(facts_.version),
            markup_text(facts_.folder));
        return std::move(text_);
    }

private:
    template<class... Values>
    void add(fmt::format_string<Values...> pattern, Values&&... values) {
        fmt::format_to(std::back_inserter(text_), pattern, std::forward<Values>(values)...);
    }

    bool is_restore() const { return record_.command == name_of(command::restore); }

    std::string title() const {
        if (!is_restore()) {
            return "Recovery mode";
        }
        return record_.erases ? "Restore and erase" : "Restore";
    }

    void head() {
        add("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
            "<meta http-equiv=\"Content-Security-Policy\" "
            "content=\"default-src 'none'; style-src 'unsafe-inline'\">\n"
            "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
            "<meta name=\"color-scheme\" content=\"light dark\">\n"
            "<title>{0}: {1}</title>\n<style>\n{2}</style>\n</head>\n<body>\n<h1>{0}</h1>\n",
            title(), markup_text(record_.run), report_style);
        if (record_.ended.empty()) {
            notice("This run was under way when the page was made, or was cut off. The page shows "
                   "what was known then.");
        }
        if (record_.is_last_line_cut) {
            notice("The last line of events.jsonl is cut off and left out.");
        }
        if (record_.unreadable_lines != 0) {
            notice("The page leaves out " + number_of(record_.unreadable_lines, "line") +
                   " of events.jsonl that cannot be read.");
        }
        if (record_.lost_operations != 0) {
            notice(number_of(record_.lost_operations, "operation") +
                   " of this run had no room in the picture.");
        }
    }

    void notice(const std::string& sentence) { add("<p class=\"notice\">{}</p>\n", sentence); }

    void total(std::size_t number, std::string_view what, const char* kind) {
        add("<li class=\"{}\"><b>{}</b> {}</li>\n", number == 0 ? "none" : kind, number, what);
    }

    void totals() {
        text_ += "<ul class=\"totals\">\n";
        if (record_.totals) {
            const counts& all = *record_.totals;
            total(all.chosen, "chosen", "");
            total(all.restored, is_restore() ? "restored" : "done", "good");
            total(all.failed, "failed", "bad");
            total(all.timed_out, "timed out", "bad");
            total(all.stalled, "stalled", "bad");
            total(all.cancelled, "cancelled", "bad");
            total(all.missing, "missing", "bad");
            total(all.left_alone, "left alone", "left");
        } else {
            std::map<std::string, std::pair<std::size_t, const char*>> states;
            for (const recorded_visit* each : sorted_) {
                auto& [number, kind] = states[each->state];
                ++number;
                kind = kind_of(*each);
            }
            for (const auto& [state, found] : states) {
                total(found.first, markup_text(words_of(state)), found.second);
            }
        }
        text_ += "</ul>\n";
    }

    /// Nothing for an empty value.
    void fact(const char* name, const std::string& value) {
        if (!value.empty()) {
            add("<dt>{}</dt><dd>{}</dd>\n", name, markup_text(value));
        }
    }

    void run() {
        text_ += "<dl>\n";
        fact("Run", record_.run);
        fact("Started", time_text(record_.started));
        fact("Ended", time_text(record_.ended));
        fact("Exit status", record_.exit_status ? std::to_string(*record_.exit_status) : "");
        fact("Bundle", record_.bundle);
        if (!record_.bundle_build.empty()) {
            fact("Version", fmt::format("{} ({})", record_.bundle_version, record_.bundle_build));
        }
        for (const auto& [key, value] : record_.tags) {
            fact("Tag", fmt::format("{}={}", key, value));
        }
        fact("vandrel-station", record_.version);
        text_ += "</dl>\n";
    }

    void picture() {
        if (!record_.visits.empty()) {
            text_ += "<section>\n<h2>Time</h2>\n" + time_picture(record_) + "</section>\n";
        }
    }

    void devices() {
        text_ += "<section>\n<h2>Devices</h2>\n";
        if (sorted_.empty()) {
            text_ += "<p>There is no device in this run.</p>\n</section>\n";
            return;
        }
        text_ += "<table class=\"devices\">\n<thead><tr>";
        for (const char* each : {"Slot", "ECID", "Serial number", "Model", "State", "Operation",
                                 "Duration", "Tries"}) {
            add("<th scope=\"col\">{}</th>", each);
        }
        text_ += "</tr></thead>\n<tbody>\n";
        for (const recorded_visit* each : sorted_) {
            device(*each);
        }
        text_ += "</tbody>\n</table>\n</section>\n";
    }

    void device(const recorded_visit& visit) {
        const std::string model = visit.model.empty() ? visit.product_string : visit.model;
        add("<tr class=\"{}\">", kind_of(visit));
        for (const std::string& each :
             {place_of(visit), visit.ecid, visit.serial_number, model, words_of(visit.state),
              operation_text(visit), duration_text(visit.duration)}) {
            add("<td>{}</td>", markup_text(each));
        }
        add("<td>{}</td></tr>\n", visit.tries);
    }

    void failures() {
        visit_list left;
        std::ranges::copy_if(sorted_, std::back_inserter(left), [](const recorded_visit* each) {
            return each->state == name_of(final_state::left_alone);
        });
        part(is_restore() ? "Not restored" : "Not done", failures_);
        part("Left alone", left);
    }

    void part(const char* heading, const visit_list& visits) {
        if (visits.empty()) {
            return;
        }
        add("<section>\n<h2>{}</h2>\n", heading);
        for (const recorded_visit* each : visits) {
            failure(*each);
        }
        text_ += "</section>\n";
    }

    void failure(const recorded_visit& visit) {
        add("<article>\n<h3>{} {} {}</h3>\n<p>{}</p>\n", markup_text(place_of(visit)),
            markup_text(visit.ecid), markup_text(visit.serial_number),
            markup_text(visit.sentence.empty() ? words_of(visit.reason) : visit.sentence));
        if (const std::string advice = advice_on(visit.reason); !advice.empty()) {
            add("<p class=\"advice\">{}</p>\n", advice);
        }
        for (const recorded_log& each : visit.logs) {
            add("<h4>The end of {}</h4>\n<pre>", markup_text(each.name));
            for (std::string line : each.lines) {
                std::ranges::replace(line, '\t', ' ');
                add("{}\n", markup_text(line));
            }
            text_ += "</pre>\n";
        }
        text_ += "</article>\n";
    }

    void remarks() {
        if (record_.remarks.empty()) {
            return;
        }
        text_ += "<section>\n<h2>Remarks</h2>\n<ul>\n";
        for (const recorded_remark& each : record_.remarks) {
            add("<li>{}: {}</li>\n", markup_text(time_text(each.time)), markup_text(each.text));
        }
        if (record_.lost_remarks != 0) {
            add("<li>{} more in events.jsonl</li>\n", record_.lost_remarks);
        }
        text_ += "</ul>\n</section>\n";
    }

    const run_record& record_;
    const page_facts& facts_;
    /// By their places.
    visit_list sorted_;
    visit_list failures_;
    std::string text_;
};

} // namespace

std::string report_page(const run_record& record, const page_facts& facts) {
    return page_writer(record, facts).page();
}

} // namespace vandrel::station
