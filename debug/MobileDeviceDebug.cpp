#include "debug/MobileDeviceDebug.h"

#include "debug/status_text.h"
#include "foundation/assertion.h"
#include "foundation/cf_text.h"
#include "output/output_str_state.h"

#include <fmt/compile.h>

#include <algorithm>
#include <utility>

namespace vandrel {

namespace {

constexpr auto source = "debug/MobileDeviceDebug.cpp";

void print_table(output_str_state& output, const char* banner, std::int32_t last_code,
                 CFStringRef (*copy_text)(std::int32_t),
                 std::initializer_list<CFStringRef> unrecognized) {
    output.push_debug(banner);
    for (std::int32_t code = 0; code <= last_code; ++code) {
        const cf_handle<CFStringRef> text(copy_text(code));
        if (auto line = case_line(code, text.get(), unrecognized)) {
            output.push_debug(*std::move(line));
        }
    }
    output.push_debug("");
}

} // namespace

std::optional<std::string> case_line(std::int32_t code, CFStringRef text,
                                     std::initializer_list<CFStringRef> unrecognized) {
    const auto begins_text = [text](CFStringRef beginning) {
        return CFStringFind(text, beginning, 0).location == 0;
    };
    if (text == nullptr || std::ranges::any_of(unrecognized, begins_text)) {
        return std::nullopt;
    }
    // There are 11,000 lines: the compiler reads the format, so that it is not read for each line.
    fmt::memory_buffer line;
    fmt::format_to(fmt::appender(line), FMT_COMPILE("case {}: return copyString(CFSTR(\"{}\"));"),
                   code, cfstring_to_string(text));
    return fmt::to_string(line);
}

// Each dump shares ownership of the channel.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void print_imp_AMRLocalizedCopyStringForAMROperation(std::shared_ptr<output_str_state> output) {
    if (!output) {
        fail_assertion(source, 15,
                       "void __cdecl vandrel::print_imp_AMRLocalizedCopyStringForAMROperation("
                       "class std::shared_ptr<class vandrel::output_str_state>)",
                       "output");
    }
    print_table(*output, "==== AMRLocalizedCopyStringForAMROperation ====", 999,
                AMRLocalizedCopyStringForAMROperation, {CFSTR("Unrecognized operation")});
}

// NOLINTNEXTLINE(performance-unnecessary-value-param)
void print_imp_AMRLocalizedCopyStringForAMRError(std::shared_ptr<output_str_state> output) {
    if (!output) {
        fail_assertion(source, 31,
                       "void __cdecl vandrel::print_imp_AMRLocalizedCopyStringForAMRError("
                       "class std::shared_ptr<class vandrel::output_str_state>)",
                       "output");
    }
    print_table(*output, "==== AMRLocalizedCopyStringForAMRError ====", 9999,
                AMRLocalizedCopyStringForAMRError,
                {CFSTR("Unrecognized error"), CFSTR("Unrecognized server error")});
}

} // namespace vandrel
