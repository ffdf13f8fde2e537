#include "station/event_text.h"
#include "station/live_view.h"
#include "station/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <functional>
#include <string_view>
#include <utility>

namespace vandrel::station {

namespace {

/// Header, titles, counts and hint.
constexpr std::size_t other_lines = 4;
constexpr std::size_t most_loud_without_room = 2;

constexpr std::string_view bold = "\x1b[1m";
constexpr std::string_view green = "\x1b[32m";
constexpr std::string_view yellow = "\x1b[33m";
constexpr std::string_view red = "\x1b[31m";
constexpr std::string_view usual_colour = "\x1b[0m";

struct kind_look {
    char sign;
    std::string_view name;
    std::string_view colour;
};

/// By the kinds of rows.
constexpr auto looks = std::to_array<kind_look>({{'+', "restored", green},
                                                 {'-', "left alone", {}},
                                                 {'.', "waiting", {}},
                                                 {' ', "running", {}},
                                                 {'!', "quiet", yellow},
                                                 {'!', "failing", yellow},
                                                 {'X', "failed", red}});

std::string_view title_of(const live_facts& facts) {
    switch (facts.what) {
    case command::recover_exit:
        return "LEAVE RECOVERY MODE";
    case command::recover_stay:
        return "STAY IN RECOVERY MODE";
    case command::restore:
        break;
    }
    return facts.erase ? "RESTORE + ERASE" : "RESTORE";
}

std::string bar_of(std::int64_t progress, std::size_t width) {
    const auto percent = static_cast<std::size_t>(std::clamp<std::int64_t>(progress, 0, 100));
    const std::size_t full = percent * width / 100;
    return std::string(full, '#') + std::string(width - full, '.');
}

} // namespace

/// How wide the columns are.
struct live_view::columns {
    static constexpr std::size_t ecid = 16;
    static constexpr std::size_t model = 10;
    static constexpr std::size_t percent = 5;
    /// From the end of the percentage to the end of the column TIME, and from there to the end of
    /// the column LEFT.
    static constexpr std::size_t time = 2;
    static constexpr std::size_t left = 6;
    /// Blanks at the end of the line.
    static constexpr std::size_t margin = 2;

    std::size_t place;
    /// With the blank after it.
    std::size_t operation;
    std::size_t bar;

    /// On a wider screen the bar grows to its longest, and then the room for names of operations.
    columns(std::size_t width, bool has_slots) : place(has_slots ? 4 : 10) {
        constexpr std::size_t least_width = 79;
        constexpr std::size_t usual_operation = 19;
        constexpr std::size_t longest_operation = 48;
        const std::size_t rest =
            std::max(width, least_width) - (before_operation() + after_bar() + margin);
        bar = std::clamp<std::size_t>(rest - usual_operation, 4, 9);
        operation = std::min(rest - bar, longest_operation);
    }

    std::size_t before_operation() const { return 3 + place + 1 + ecid + 1 + model + 1; }
    std::size_t after_bar() const { return percent + time + left; }
    std::size_t total() const {
        return before_operation() + operation + bar + after_bar() + margin;
    }
};

std::vector<std::string> live_view::frame(screen_size size, const moment& now, bool colours) const {
    // What is written into the last column can wrap.
    const std::size_t width = std::max<std::size_t>(size.columns, 1) - 1;
    const columns of(width, facts_.has_slots);
    const std::size_t room = std::max(size.rows, other_lines) - other_lines;
    std::vector<line> lines{header(of.total(), now), {titles(of)}};
    std::size_t loud = loud_.size();
    std::vector<const row*> shown = rows();
    if (shown.size() + loud > room) {
        loud = std::min(loud, most_loud_without_room);
    }
    std::string left_out;
    if (shown.size() + loud > room) {
        left_out = fold(shown, std::max(room, loud + 1) - loud - 1);
    }
    for (const row* each : shown) {
        lines.push_back(row_line(*each, of, now.since_start - gaps_));
    }
    if (!left_out.empty()) {
        lines.push_back({left_out});
    }
    lines.push_back({totals()});
    for (std::size_t i = loud_.size() - loud; i < loud_.size(); ++i) {
        lines.push_back({" " + loud_[i]});
    }
    lines.push_back({hint()});
    lines.resize(std::min(lines.size(), size.rows));

    std::vector<std::string> result;
    for (const line& each : lines) {
        std::string text(clipped(each.text, width));
        text.erase(text.find_last_not_of(' ') + 1);
        result.push_back(colours && !each.colour.empty()
                             ? fmt::format("{}{}{}", each.colour, text, usual_colour)
                             : std::move(text));
    }
    return result;
}

live_view::line live_view::header(std::size_t width, const moment& now) const {
    const auto [to_do, all] = progress_of_run();
    std::string text = fmt::format(" {}", title_of(facts_));
    if (!facts_.version.empty()) {
        text += "  " + facts_.version;
    }
    text += facts_.watch ? fmt::format("  to do {}, done {}", to_do, all - to_do)
                         : fmt::format("  to do {} of {}", to_do, all);
    const std::string times = fmt::format("  {}, running {}", hours_minutes_seconds(now.local_time),
                                          hours_minutes_seconds(now.since_start - gaps_));
    return {fitted(text, width - times.size()) + times, bold};
}

std::string live_view::titles(const columns& of) {
    return fmt::format("   {} {} {} {}{}TIME  LEFT", fitted("SLOT", of.place),
                       fitted("ECID", of.ecid), fitted("MODEL", of.model),
                       fitted("OPERATION", of.operation), fitted("DONE", of.bar + of.percent - 2));
}

std::vector<const live_view::row*> live_view::rows() const {
    std::vector<const row*> result;
    for (const auto& [ecid, each] : devices_) {
        if (!each.is_replaced) {
            result.push_back(&each);
        }
    }
    std::ranges::sort(result, {}, &row::order);
    return result;
}

std::string live_view::fold(std::vector<const row*>& rows, std::size_t room) {
    // Of each kind, the first rows stay.
    std::ranges::stable_sort(rows, std::greater(), &row::kind);
    std::array<std::size_t, looks.size()> folded{};
    for (std::size_t i = room; i < rows.size(); ++i) {
        ++folded[static_cast<std::size_t>(rows[i]->kind)];
    }
    rows.resize(std::min(rows.size(), room));
    std::ranges::sort(rows, {}, &row::order);

    // What needs nobody first, what waits for its turn last.
    constexpr auto order =
        std::to_array({row_kind::restored, row_kind::left_alone, row_kind::running, row_kind::quiet,
                       row_kind::failing, row_kind::failed, row_kind::waiting});
    static_assert(order.size() == looks.size());
    std::vector<std::string> counts;
    for (const row_kind kind : order) {
        if (const auto i = static_cast<std::size_t>(kind); folded[i] > 0) {
            counts.push_back(fmt::format("{} {} {}", looks[i].sign, folded[i], looks[i].name));
            counts.back().erase(0, counts.back().find_first_not_of(' '));
        }
    }
    return fmt::format("   ({}: no room to show them)", fmt::join(counts, ", "));
}

live_view::line live_view::row_line(const row& each, const columns& of, awake_time now) const {
    const kind_look& look = looks[static_cast<std::size_t>(each.kind)];
    const std::string who = each.device.ecid.empty() ? each.device.serial_number : each.device.ecid;
    return {fmt::format(" {} {} {} {} {}", look.sign, fitted(place_of(each.device), of.place),
                        fitted(printable(who), of.ecid), fitted(each.model, of.model),
                        doing(each, of, now)),
            look.colour};
}

std::string live_view::doing(const row& each, const columns& of, awake_time now) const {
    if (each.took) {
        const std::string time = minutes_seconds(*each.took);
        const std::size_t width = of.operation + of.bar + of.percent + of.time;
        return fitted(each.text, width - time.size()) + time;
    }
    if (each.kind != row_kind::running && each.kind != row_kind::quiet) {
        return each.text;
    }
    std::string text = fitted(each.text, of.operation - 1) + " ";
    if (each.quiet_since) {
        return text + "quiet " + minutes_seconds(std::max(now - *each.quiet_since, awake_time{}));
    }
    if (!each.progress) {
        return text;
    }
    text += fmt::format("{}{:>4}%", bar_of(*each.progress, of.bar), *each.progress);
    const auto left = left_ ? left_(each.device.ecid, now) : std::nullopt;
    return left ? fmt::format("{}{:>{}}", text, minutes_seconds(*left), of.time + of.left) : text;
}

std::pair<std::size_t, std::size_t> live_view::progress_of_run() const {
    const auto to_do = static_cast<std::size_t>(std::ranges::count_if(
        devices_, [](const auto& entry) { return !entry.second.state.has_value(); }));
    return {to_do, devices_.size()};
}

std::string live_view::totals() const {
    std::size_t running = 0;
    std::size_t waiting = 0;
    std::map<final_state, std::size_t> ended;
    for (const auto& [ecid, each] : devices_) {
        if (each.state) {
            ++ended[*each.state];
        } else {
            ++(each.kind == row_kind::waiting ? waiting : running);
        }
    }
    std::string text = fmt::format(
        " {} running  {} waiting  {} {}  {} failed", running, waiting, ended[final_state::restored],
        facts_.what == command::restore ? "restored" : "done", ended[final_state::failed]);
    text += fmt::format("  {} stalled", ended[final_state::stalled]);
    for (const auto& [state, name] : {std::pair(final_state::timed_out, "timed out"),
                                      std::pair(final_state::cancelled, "cancelled"),
                                      std::pair(final_state::missing, "missing")}) {
        if (ended[state] > 0) {
            text += fmt::format("  {} {}", ended[state], name);
        }
    }
    return text + fmt::format("  {} left alone", ended[final_state::left_alone]);
}

std::string live_view::hint() const {
    constexpr std::string_view unplug = "Unplug nothing but + and X.";
    if (cancelled_.stage == 0) {
        return fmt::format(" Ctrl-C: begin no more devices. {}", unplug);
    }
    if (cancelled_.stage == 1) {
        return fmt::format(" Ctrl-C: end the running tools. {}", unplug);
    }
    if (cancelled_.writing_firmware.empty()) {
        return fmt::format(" The running tools are ended. {}", unplug);
    }
    std::vector<std::string> places;
    for (const event_device& each : cancelled_.writing_firmware) {
        places.push_back(place_or_ecid(each));
    }
    return fmt::format(" Ctrl-C (after 10 s: twice): also end those that write firmware: {}",
                       fmt::join(places, ", "));
}

} // namespace vandrel::station
