#pragma once

/// The terminal on standard output, while a screen that is drawn again and again has it. A process
/// takes it once at most.

#include "station/live_view.h"

#include <string_view>

namespace vandrel::station::terminal {

/// A second screen, so that what is above stays as it is; lines that are too long are cut, and the
/// cursor is hidden.
inline constexpr std::string_view entering = "\x1b[?1049h\x1b[?7l\x1b[?25l";
inline constexpr std::string_view leaving = "\x1b[0m\x1b[?25h\x1b[?7h\x1b[?1049l";

/// Whether standard output is a terminal that such a screen can be drawn on. On POSIX, not for a
/// job in the background.
bool can_be_drawn_on();

/// The terminal's size; 80 columns and 24 rows when it is not known.
screen_size size();

/// Changes the terminal's settings and shows the second screen. May block until the terminal has
/// taken the sequences.
void enter();

/// Puts back the settings and the screen that `enter` has changed, and drops what was typed. After
/// this, `enter` does nothing. Any thread. Waits until the terminal has taken the sequences.
void leave();

/// The same without waiting: a terminal that takes nothing only gets its settings back. A crash
/// after `enter` does this, too.
void leave_at_once();

/// UTF-8 and sequences. Waits until the terminal has taken them.
void write(std::string_view bytes);

} // namespace vandrel::station::terminal
