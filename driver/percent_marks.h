#pragma once

#include <string>

namespace vandrel {

/// Boost.Program_options replaces words such as "%value%" in its messages by parts of the command
/// line, again and again while it finds one: without end, when an argument contains the word
/// itself. So each percent sign that the library is given has a mark behind it, and the marks are
/// taken out of everything that it gives back.

/// `text` with a mark behind each percent sign.
std::string with_marks(std::string text);

/// `text` without the marks: without_marks(with_marks(text)) is `text`, whatever it contains.
std::string without_marks(std::string text);

} // namespace vandrel
