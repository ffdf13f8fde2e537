#include "station/live_output.h"

#include "station/host.h"
#include "station/terminal.h"

#include <cstdlib>
#include <utility>

namespace vandrel::station {

using std::chrono::steady_clock;
using std::chrono::system_clock;

namespace {

constexpr auto between_frames = std::chrono::milliseconds(100);

/// Whoever sets NO_COLOR to any text wants none.
bool wants_colours() {
    const char* none = std::getenv("NO_COLOR");
    return none == nullptr || *none == '\0';
}

bool is_failure(const event& what) {
    const auto* ended = std::get_if<device_ended>(&what.body);
    return ended != nullptr && ended->state != final_state::restored;
}

} // namespace

live_output::live_output(live_view view, background_writer& to, bool has_bell)
    : view_(std::move(view)), to_(to), has_bell_(has_bell) {}

live_output::~live_output() {
    terminal::leave_at_once();
}

void live_output::take(const event& what, std::chrono::seconds local_time) {
    if (std::holds_alternative<run_started>(what.body)) {
        start_ = steady_clock::now();
    }
    view_.take(what, local_time);
    rings_ = rings_ || (has_bell_ && is_failure(what));
}

void live_output::flush() {
    if (!is_open()) {
        return;
    }
    if (!std::exchange(is_entered_, true)) {
        to_.post(0, [] { terminal::enter(); });
    }
    if (steady_clock::now() >= next_frame_ && !*is_busy_) {
        draw();
    }
}

void live_output::draw() {
    const auto now = steady_clock::now();
    next_frame_ = now + between_frames;
    const screen_size size = terminal::size();
    const moment when{local_time_of_day(system_clock::now()),
                      std::chrono::duration_cast<awake_time>(now - start_)};
    static const bool has_colours = wants_colours();
    std::string bytes = painter_.update(view_.frame(size, when, has_colours), size);
    if (std::exchange(rings_, false)) {
        bytes += '\a';
    }
    if (bytes.empty()) {
        return;
    }
    *is_busy_ = true;
    const std::size_t count = bytes.size();
    const bool is_taken = to_.post(count, [bytes = std::move(bytes), is_busy = is_busy_] {
        terminal::write(bytes);
        *is_busy = false;
    });
    if (!is_taken) {
        // The frame is lost, and with it the lines that it changed: the next one draws all.
        *is_busy_ = false;
        painter_ = {};
    }
}

void live_output::close() {
    is_closed_ = true;
    to_.post(0, [has_bell = has_bell_] {
        terminal::leave();
        if (has_bell) {
            terminal::write("\a");
        }
    });
}

std::chrono::seconds local_time_of_day(system_clock::time_point time) {
    const auto local = time.time_since_epoch() + offset_of_local_time(time);
    return std::chrono::floor<std::chrono::seconds>(local -
                                                    std::chrono::floor<std::chrono::days>(local));
}

} // namespace vandrel::station
