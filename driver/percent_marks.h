#pragma once

#include <string>

namespace vandrel {

/// Boost.Program_options replaces placeholders such as "%value%" in its messages by parts of the
/// command line. If what it inserts contains the placeholder itself, it loops for ever. A mark
/// after each percent sign of the command line prevents this. Whoever takes a text from the library
/// removes the marks.

/// `text` with a mark after each percent sign.
std::string with_marks(std::string text);

/// `text` without the marks: without_marks(with_marks(text)) is `text`, whatever it contains.
std::string without_marks(std::string text);

} // namespace vandrel
