#include "station/time_picture.h"

#include "station/markup.h"
#include "station/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <optional>
#include <vector>

namespace vandrel::station {

namespace {

using std::chrono::seconds;

/// Shares of the axis, in percent. An operation that is narrower, and has not failed, is drawn
/// together with the one that follows at once.
constexpr double narrowest = 0.03;
/// Wide enough for a pointer.
constexpr double narrowest_with_title = 0.4;
/// Wide enough for some letters.
constexpr double narrowest_with_name = 4;

/// The visits of one device.
struct device_row {
    std::vector<const recorded_visit*> visits;
};

std::vector<device_row> rows_of(const run_record& record) {
    std::vector<device_row> rows;
    std::map<std::string, std::size_t> places;
    for (const recorded_visit& each : record.visits) {
        const std::string& key = each.ecid.empty() ? each.serial_number : each.ecid;
        const auto [place, is_new] = places.try_emplace(key, rows.size());
        if (is_new) {
            rows.emplace_back();
        }
        rows[place->second].visits.push_back(&each);
    }
    return rows;
}

class painter {
public:
    explicit painter(const run_record& record)
        : record_(record), length_(std::max(record.last, awake_time(1))) {}

    std::string picture() {
        text_ = "<table class=\"times\">\n<thead><tr><td></td><td>";
        axis();
        text_ += "</td></tr></thead>\n<tbody>\n";
        for (const device_row& each : rows_of(record_)) {
            row(each);
        }
        return std::move(text_) + "</tbody>\n</table>\n";
    }

private:
    double share(awake_time time) const {
        return 100.0 * static_cast<double>(time.count()) / static_cast<double>(length_.count());
    }

    template<class... Values>
    void add(fmt::format_string<Values...> pattern, Values&&... values) {
        fmt::format_to(std::back_inserter(text_), pattern, std::forward<Values>(values)...);
    }

    void axis() {
        text_ += "<svg class=\"axis\">";
        const seconds distance = distance_of_marks(length_);
        for (seconds mark(0); mark <= length_; mark += distance) {
            // Near the end, a text that began at its mark would leave the picture.
            const bool is_late = share(mark) > 90;
            add("<text x=\"{:.3f}%\" y=\"12\"{}>{}</text>", share(mark),
                is_late ? " text-anchor=\"end\"" : "", hours_minutes_seconds(mark));
        }
        text_ += "</svg>";
    }

    void marks() {
        const seconds distance = distance_of_marks(length_);
        for (seconds mark(0); mark <= length_; mark += distance) {
            add("<line x1=\"{0:.3f}%\" x2=\"{0:.3f}%\" y2=\"100%\"/>", share(mark));
        }
    }

    void row(const device_row& device) {
        const recorded_visit& last = *device.visits.back();
        const std::string& place = last.slot.empty() ? last.location : last.slot;
        add("<tr><th scope=\"row\"><span>{}</span> <span>{}</span></th><td><svg>",
            markup_text(place), markup_text(last.ecid.empty() ? last.serial_number : last.ecid));
        marks();
        is_odd_ = false;
        for (const recorded_visit* each : device.visits) {
            operations(*each);
        }
        paths();
        for (const recorded_visit* each : device.visits) {
            for (const recorded_end_of_try& end : each->ends) {
                end_of_try(end);
            }
        }
        text_ += "</svg></td></tr>\n";
    }

    void operations(const recorded_visit& visit) {
        // What is too narrow waits for what follows.
        std::optional<recorded_operation> waiting;
        for (recorded_operation each : visit.operations) {
            if (waiting && share(each.begun - waiting->ended) < narrowest) {
                each.begun = waiting->begun;
            } else if (waiting) {
                piece(*waiting);
            }
            waiting.reset();
            if (share(each.ended - each.begun) < narrowest && !each.has_failed) {
                waiting = each;
            } else {
                piece(each);
            }
        }
        if (waiting) {
            piece(*waiting);
        }
    }

    void piece(const recorded_operation& what) {
        is_odd_ = !is_odd_;
        const char kind = what.has_failed ? 'f' : is_odd_ ? 'a' : 'b';
        const double begin = share(what.begun);
        const double width = std::max(share(what.ended - what.begun), narrowest);
        if (width < narrowest_with_title) {
            fmt::format_to(std::back_inserter(paths_[kind]), "M{0:.3f} 0h{1:.3f}v1h-{1:.3f}z",
                           begin, width);
            return;
        }
        const std::string name = markup_text(record_.operation_names.at(what.name));
        const std::string title = fmt::format(
            "<title>{}{}: {} from {}</title>", name, what.has_failed ? ", failed" : "",
            hours_minutes_seconds(what.ended - what.begun), hours_minutes_seconds(what.begun));
        if (width < narrowest_with_name) {
            add("<rect class=\"{}\" x=\"{:.3f}%\" width=\"{:.3f}%\">{}</rect>", kind, begin, width,
                title);
        } else {
            // This picture in the picture cuts off a name that is too long.
            add("<svg x=\"{:.3f}%\" width=\"{:.3f}%\">{}<rect class=\"{}\" width=\"100%\"/>"
                "<text x=\"4\" y=\"13\">{}</text></svg>",
                begin, width, title, kind, name);
        }
    }

    /// Narrow pieces of one colour are one element: thousands of them would take a browser seconds.
    void paths() {
        if (paths_.empty()) {
            return;
        }
        text_ += "<svg class=\"narrow\" y=\"3\" height=\"14\" viewBox=\"0 0 100 1\" "
                 "preserveAspectRatio=\"none\">";
        for (const auto& [kind, path] : paths_) {
            add("<path class=\"{}\" d=\"{}\"/>", kind, path);
        }
        text_ += "</svg>";
        paths_.clear();
    }

    void end_of_try(const recorded_end_of_try& end) {
        const auto* const sign = end.is_restored ? "M3 9l3 3 6-7" : "M4 5l8 8m0-8l-8 8";
        add("<svg class=\"{}\" x=\"{:.3f}%\" y=\"1\"><title>{} at {}</title><path d=\"{}\"/></svg>",
            end.is_restored ? "good" : "bad", share(end.when),
            end.is_restored ? "Completed" : "Not completed", hours_minutes_seconds(end.when), sign);
    }

    const run_record& record_;
    awake_time length_;
    /// Pieces beside each other have different colours, unless both have failed.
    bool is_odd_ = false;
    /// The narrow pieces of the row, by their colours.
    std::map<char, std::string> paths_;
    std::string text_;
};

} // namespace

seconds distance_of_marks(awake_time length) {
    constexpr std::array usual = {1,   2,   5,    10,   15,   30,    60,    120,  300,
                                  600, 900, 1800, 3600, 7200, 10800, 21600, 43200};
    constexpr int day = 86400;
    static constexpr int most = 8;
    const auto fits = [length](seconds distance) { return length < most * distance; };
    for (const int each : usual) {
        if (fits(seconds(each))) {
            return seconds(each);
        }
    }
    seconds distance(day);
    while (!fits(distance)) {
        distance += seconds(day);
    }
    return distance;
}

std::string time_picture(const run_record& record) {
    return painter(record).picture();
}

} // namespace vandrel::station
