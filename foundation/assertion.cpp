#include "foundation/assertion.h"

#include <fmt/format.h>

#include <stdexcept>

namespace vandrel {

void fail_assertion(std::string_view source, int line, std::string_view signature,
                    std::string_view condition) {
    throw std::invalid_argument(
        fmt::format("{}:{}:  {} Assertion {} failed.", source, line, signature, condition));
}

} // namespace vandrel
