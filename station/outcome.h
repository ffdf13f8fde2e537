#pragma once

/// The exit status of a run.

namespace vandrel::station {

/// What the exit status depends on.
struct outcome {
    /// Consent is missing, or the number of devices to work on is not the expected one; nothing was
    /// touched.
    bool refused = false;
    /// The first list could not be had. Or no chosen device can be begun, and at least one of them
    /// only because there is too little room; this does not count in a watch that is no dry run. If
    /// a device of bench_options::ecids is in the first list and does not fit, this is false, and
    /// `nothing_fits` is true.
    bool cannot_work = false;
    /// No device that was asked for fits and is free; or a device of bench_options::ecids is in the
    /// first list and does not fit.
    bool nothing_fits = false;
    /// The user or the end of the session has cut the run short.
    bool cancelled = false;
    /// Nothing is left to do: the run was a dry one, or each chosen device is restored or may be
    /// left alone. It may if nobody named it and failures did not stop the run. Never when the run
    /// was cancelled before it could begin a device.
    bool all_done = true;
    /// The run's own record has a hole.
    bool log_incomplete = false;
};

/// 2, 4, 3, 130, 1, 5 or 0: the first that applies. 130 and 1 apply only if not all is done.
int exit_status_of(const outcome& outcome);

} // namespace vandrel::station
