#include "driver/asks_for_help.h"

#include "driver/option_table.h"

#include <exception>
#include <memory>

namespace vandrel {

bool asks_for_help(int argument_count, const char* const* arguments) noexcept {
    try {
        const auto options = std::make_shared<start_options>();
        parse_options(option_table(options), argument_count, arguments);
        return options->help;
    } catch (const std::exception&) {
        return false;
    }
}

} // namespace vandrel
