#pragma once

#include <string_view>

namespace vandrel {

/// Reports a broken precondition: throws std::invalid_argument with the text
/// "SOURCE:LINE:  SIGNATURE Assertion CONDITION failed.". Source, line and signature are fixed
/// names of the check: they stay when the code around it changes, so that reports can be compared.
[[noreturn]] void fail_assertion(std::string_view source, int line, std::string_view signature,
                                 std::string_view condition);

} // namespace vandrel
