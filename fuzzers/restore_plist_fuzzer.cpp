/// read_restore_plist with a whole file. The result is the dictionary in the file, or an error of
/// code 8 with the right reason.

#include "device/restore_options.h"
#include "driver/tool_error.h"
#include "foundation/cf_text.h"
#include "fuzzers/fuzzing.h"
#include "fuzzers/memory_file.h"
#include "fuzzers/xml_outcome.h"

namespace vandrel::fuzzing {

namespace {

/// The reason without the words with which every failure begins.
std::string expected_refusal(input bytes, CFPropertyListRef content) {
    if (bytes.empty()) {
        return "Empty file";
    }
    const bool is_dictionary =
        content != nullptr && CFGetTypeID(content) == CFDictionaryGetTypeID();
    return is_dictionary ? "" : "Invalid format";
}

} // namespace

void try_input(input bytes) {
    static const auto& file = *new memory_file;
    file.fill(bytes);
    const auto content = read_property_list(bytes);
    const std::string refusal = expected_refusal(bytes, content.get());
    try {
        const auto options = read_restore_plist(file.path());
        require(refusal.empty(), "only a dictionary is taken");
        // A date that is no time equals nothing, not even itself.
        require(!outcome_in_xml(content.get()).is_equal ||
                    CFEqual(options.get(), content.get()) != 0,
                "the dictionary of the file");
    } catch (const cf_error_handle& error) {
        require(CFErrorGetCode(error.get()) == 8, "a read error");
        const cf_handle<CFStringRef> reason(CFErrorCopyFailureReason(error.get()));
        require(!refusal.empty() && cfstring_to_string(reason.get()) ==
                                        "Cannot open file '" + file.path() + "' - " + refusal,
                "the reason of the failure");
    }
}

} // namespace vandrel::fuzzing
