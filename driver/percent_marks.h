#pragma once

#include <string>

namespace vandrel {

/// Boost.Program_options replaces placeholders such as "%value%" in its messages by parts of the
/// command line. If what it inserts contains the placeholder itself, it loops for ever. A mark
/// after each percent sign prevents this. The marks are removed from the texts that the library
/// returns.

/// `text` with a mark after each percent sign.
std::string with_marks(std::string text);

/// `text` without the marks: without_marks(with_marks(text)) is `text`, whatever it contains.
std::string without_marks(std::string text);

} // namespace vandrel
