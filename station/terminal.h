#pragma once

/// The terminal on standard output, while it shows a screen that is drawn again and again. A
/// process enters that screen once at most.

#include "station/live_view.h"

#include <string_view>

namespace vandrel::station::terminal {

/// Shows a second screen, so that what the terminal has shown before stays as it is. Lines that are
/// too long do not go on in the next line, and the cursor is hidden.
inline constexpr std::string_view entering = "\x1b[?1049h\x1b[?7l\x1b[?25l";
inline constexpr std::string_view leaving = "\x1b[0m\x1b[?25h\x1b[?7h\x1b[?1049l";

/// Whether standard output is a terminal that such a screen can be drawn on. On POSIX, not for a
/// job in the background, and not when TERM is missing, empty or "dumb".
bool can_be_drawn_on();

/// The terminal's size; 80 columns and 24 rows when it is not known.
screen_size size();

/// Changes the terminal's settings and shows the second screen. Waits until the terminal has taken
/// the sequences. Called once at most.
void enter();

/// Puts back the settings and the screen that `enter` has changed, and drops what was typed. Waits
/// until the terminal has taken the sequences. Afterwards, `enter` does nothing. Any thread may
/// call.
void leave();

/// The same without waiting: a terminal that takes nothing only gets its settings back. After
/// `enter`, a crash of this process calls this.
void leave_at_once();

/// Writes UTF-8 and sequences. Waits until the terminal has taken them.
void write(std::string_view bytes);

} // namespace vandrel::station::terminal
