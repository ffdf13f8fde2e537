#pragma once

/// What events say to people.

#include "station/events.h"

#include <string>

namespace vandrel::station {

struct event_text {
    /// What kind of thing has happened; in capitals when someone should look up.
    std::string word;
    std::string text;
};

/// Both in printable characters.
event_text describe(const event& what);

/// "error 4005", "error 21 (com.apple.MobileDevice)", with the error's own text behind it.
std::string describe(const error_details& error);

/// "Restoring image at 42 %"; the number of an operation without a name.
std::string describe(const operation_progress& where);

/// How a device or a try ended, in one sentence without a full stop.
std::string describe_end(end_reason reason, const try_result* last_try);

/// "restored", "FAILED", "TIMED OUT" ...
std::string word_of(final_state state);

/// What a person does about a device that ended so; empty when there is nothing to do.
std::string advice_for(end_reason reason);

/// "17.1 (21B80)", in printable characters.
std::string version_text(const bundle& what);

/// The slot, else the location number, else "-".
std::string place_of(const event_device& device);

/// "0x14110000".
std::string location_text(std::uint32_t location_id);

} // namespace vandrel::station
