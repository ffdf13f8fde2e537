#pragma once

/// What events say to people.

#include "station/events.h"

#include <string>

namespace vandrel::station {

struct event_text {
    /// What kind of thing has happened; in capitals when someone should look at it.
    std::string word;
    std::string text;
};

/// The word and the text are in printable characters.
event_text describe(const event& what);

/// "error 4005", "error 21 (com.apple.MobileDevice)", or "an error" without a code; the error's own
/// text follows, if it has one.
std::string describe(const error_details& error);

/// "Restoring image at 42 %"; "operation 14 at 42 %" when the name is empty or "Unknown".
std::string describe(const operation_progress& where);

/// How a device or a try ended, in a few words without a full stop. `last_try` is null without one.
std::string describe_end(end_reason reason, const try_result* last_try);

/// "restored", "FAILED", "TIMED OUT" ...
std::string word_of(final_state state);

/// What a person does about a device that ended so; empty when there is no advice.
std::string advice_for(end_reason reason);

/// "17.1 (21B80)", in printable characters.
std::string version_text(const bundle& what);

/// The slot, else the location number, else "-".
std::string place_of(const event_device& device);

/// "0x14110000".
std::string location_text(std::uint32_t location_id);

} // namespace vandrel::station
