#pragma once

/// The live view on the terminal of this process.

#include "station/background_writer.h"
#include "station/live_view.h"
#include "station/screen_painter.h"

#include <atomic>
#include <chrono>
#include <memory>

namespace vandrel::station {

/// Nothing is drawn before a device is begun: until then the terminal has the lines of plain_view
/// and the question. One thread.
class live_output {
public:
    /// `to` does what may block on the terminal. While the view is open, nobody else gives `to`
    /// anything to write there. `has_bell`: the bell rings when a device ends without being
    /// restored, and when the view is closed.
    live_output(live_view view, background_writer& to, bool has_bell);
    /// Puts the terminal back as it was found, as far as it can without waiting.
    ~live_output();
    live_output(const live_output&) = delete;
    live_output& operator=(const live_output&) = delete;

    /// `local_time` is the time of day here.
    void take(const event& what, std::chrono::seconds local_time);
    /// Whether the view shows what happens.
    bool is_open() const { return view_.has_begun() && !is_closed_; }
    /// Draws what has changed, but at most ten times a second, and not while the terminal has not
    /// taken the frame before. Never waits.
    void flush();
    /// From now on nothing is drawn. `to` puts the terminal back as it was found, before it does
    /// what it gets after this.
    void close();

private:
    void draw();

    live_view view_;
    background_writer& to_;
    bool has_bell_;
    screen_painter painter_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point next_frame_ = start_;
    /// The terminal has not taken the last frame. Shared, because the thread that waits for the
    /// terminal can outlive this object.
    std::shared_ptr<std::atomic<bool>> is_busy_ = std::make_shared<std::atomic<bool>>(false);
    bool is_entered_ = false;
    bool is_closed_ = false;
    bool rings_ = false;
};

/// The time of day here, at this time.
std::chrono::seconds local_time_of_day(std::chrono::system_clock::time_point time);

} // namespace vandrel::station
