#include "debug/MobileDeviceDebug.h"

#include "debug/status_text.h"
#include "foundation/assertion.h"
#include "foundation/cf_text.h"

#include <fmt/format.h>

#include <cstdint>

namespace vandrel {

namespace {

constexpr auto source = "debug/MobileDeviceDebug.cpp";

bool begins_with(CFStringRef text, CFStringRef beginning) {
    return CFStringFind(text, beginning, 0).location == 0;
}

/// Our own tables have a text for every code; the framework's, for which this was made, say so
/// where they have none.
bool is_unrecognized_operation(CFStringRef text) {
    return begins_with(text, CFSTR("Unrecognized operation"));
}

bool is_unrecognized_error(CFStringRef text) {
    return begins_with(text, CFSTR("Unrecognized error")) ||
           begins_with(text, CFSTR("Unrecognized server error"));
}

template<class CopyText, class IsUnrecognized>
void print_table(output_str_state& output, const char* banner, std::int32_t last_code,
                 const CopyText& copy_text, const IsUnrecognized& is_unrecognized) {
    output.push_debug(banner);
    for (std::int32_t code = 0; code <= last_code; ++code) {
        const cf_handle<CFStringRef> text(copy_text(code));
        if (text && !is_unrecognized(text.get())) {
            output.push_debug(fmt::format("case {}: return copyString(CFSTR(\"{}\"));", code,
                                          cfstring_to_string(text.get())));
        }
    }
    output.push_debug("");
}

} // namespace

// Each dump keeps a share of the channel of its own while it runs.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void print_imp_AMRLocalizedCopyStringForAMROperation(std::shared_ptr<output_str_state> output) {
    if (!output) {
        fail_assertion(source, 15,
                       "void __cdecl vandrel::print_imp_AMRLocalizedCopyStringForAMROperation("
                       "class std::shared_ptr<class vandrel::output_str_state>)",
                       "output");
    }
    print_table(*output, "==== AMRLocalizedCopyStringForAMROperation ====", 999,
                AMRLocalizedCopyStringForAMROperation, is_unrecognized_operation);
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
                AMRLocalizedCopyStringForAMRError, is_unrecognized_error);
}

} // namespace vandrel
