#pragma once

/// The exit status of a run.

namespace vandrel::station {

/// What the exit status depends on.
struct outcome {
    /// Consent is missing, or not as many devices are chosen as were expected; nothing was touched.
    bool refused = false;
    /// The first list could not be had; or, in a dry run or one that is no watch, no chosen
    /// device can be begun, and the bundle of at least one needs more room than there is.
    bool cannot_work = false;
    /// No device that was asked for fits and is free; or a device named by its ECID does not fit.
    bool nothing_fits = false;
    /// The user or the end of the session has cut the run short.
    bool cancelled = false;
    /// Nothing is left to do: each chosen device is restored, or was left alone though nobody named
    /// it; or the run was a dry one.
    bool all_done = true;
    /// The run's own record has a hole.
    bool log_incomplete = false;
};

/// 2, 4, 3, 130, 1, 5 or 0: the first that applies.
int exit_status_of(const outcome& outcome);

} // namespace vandrel::station
