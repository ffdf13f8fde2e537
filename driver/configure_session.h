#pragma once

#include "driver/start_options.h"

#include <memory>

namespace vandrel {

class device_notifier_state;

/// Checks that the options go together, chooses the command, fills in the session's settings and
/// runs the command to its end. Throws cf_error_handle for the first broken rule, and what
/// make_restore_options, read_restore_plist and the command throw.
void configure_session(const start_options& options,
                       const std::shared_ptr<device_notifier_state>& session);

} // namespace vandrel
