#pragma once

/// Where the events of a run go: standard output, the run's folder and the history.

#include "station/background_writer.h"
#include "station/event_json.h"
#include "station/live_output.h"
#include "station/plain_view.h"
#include "station/preparation.h"
#include "station/run_folder.h"
#include "station/summary.h"
#include "station/time_left.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace vandrel::station {

/// Once made, it waits in `finish` only. What is taken is gathered until `flush`. One thread.
class run_output {
public:
    /// Makes the run's folder, unless the run only shows what it would do. Throws refusal.
    explicit run_output(const run_settings& settings);

    void take(const event& what);
    void flush();
    /// Text for people, on standard output; on standard error when standard output gets JSON.
    void show(const std::string& text);
    /// One sentence without a full stop, on standard error. While the live view is open, the
    /// sentence waits for the end of the view.
    void complain(const std::string& why);

    /// Null in a run that only shows what it would do.
    run_folder* folder() { return folder_.get(); }
    /// Writes what is left, and the summary for people, if there is a folder and standard output
    /// gets no JSON. If the run's status is 2, 3 or 4, standard error gets the reason. Waits for
    /// the folder and for standard output until `until`, for standard output at least one second if
    /// it takes that long. Then it waits up to half a second for the history.
    void finish(std::chrono::steady_clock::time_point until);

private:
    void write_summary();
    void write_complaints();
    bool is_live() const { return live_ && live_->is_open(); }
    /// Takes in what `what` says of times. Returns how long its restore will still take, if it
    /// begins an operation and that is known.
    std::optional<awake_time> follow_times(const event& what);

    const run_settings& settings_;
    run_facts facts_;
    std::unique_ptr<run_folder> folder_;
    plain_view plain_;
    std::optional<summary> summary_;
    /// Of a run that restores; absent in a dry run.
    std::optional<time_left> times_;
    bool has_told_of_hole_ = false;
    /// For standard output, since the last flush.
    std::string lines_;
    /// Sentences for standard error that wait for the end of the live view.
    std::string complaints_;
    background_writer output_;
    /// A thread of its own: neither a reader of standard output nor the run's folder keeps it
    /// waiting.
    background_writer history_;
    /// On a terminal that can be drawn on, unless the run is a dry one or lines or JSON are asked
    /// for; null otherwise.
    std::unique_ptr<live_output> live_;
};

} // namespace vandrel::station
