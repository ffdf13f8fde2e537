#pragma once

/// Tables of text for people.

#include <string>
#include <vector>

namespace vandrel::station {

using table_row = std::vector<std::string>;

/// Lines of two blanks and the row's texts, each as wide as the widest in its column. Texts are
/// valid UTF-8.
std::string aligned(const std::vector<table_row>& rows);

/// "a, b and c", in printable characters.
std::string enumerated(const std::vector<std::string>& names);

} // namespace vandrel::station
