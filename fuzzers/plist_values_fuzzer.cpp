/// make_plist_compatible, to_xml_plist_compatible and is_valid_plist_value with values of all types
/// of objects (object_graph.h). They return the expected results. A copy is valid in XML and in
/// binary form, is not changed by another conversion, and can be written as XML.

#include "foundation/plist_values.h"
#include "fuzzers/fuzzing.h"
#include "fuzzers/object_graph.h"
#include "fuzzers/xml_outcome.h"

#include <stdexcept>
#include <string>

namespace vandrel::fuzzing {

namespace {

bool is_same(CFTypeRef left, CFTypeRef right) {
    return left == right || (left != nullptr && right != nullptr && CFEqual(left, right) != 0);
}

/// What to_xml_plist_compatible throws; empty for nothing.
std::string what_is_thrown(CFTypeRef value, std::int32_t strict) {
    try {
        to_xml_plist_compatible(value, strict);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return {};
}

void try_copies(const described_value& described) {
    CFTypeRef const strict_copy = described.is_compatible ? described.compatible.get() : nullptr;
    const auto copy = [&described](std::int32_t strict) {
        return make_plist_compatible(described.value.get(), strict);
    };
    require(is_same(copy(0).get(), described.compatible.get()), "all that fits, and nothing else");
    require(is_same(copy(1).get(), strict_copy), "all or nothing");
    require(is_same(copy(-2).get(), strict_copy), "all or nothing, with any flag but 0");

    const std::string refusal = strict_copy == nullptr ? "Could not convert to xml plist" : "";
    require(what_is_thrown(described.value.get(), 1) == refusal, "nothing is thrown, with flag 1");
    require(what_is_thrown(described.value.get(), 2).empty(), "nothing is thrown with flag 2");
}

void try_validity(const described_value& described) {
    const auto is_valid = [&described](CFPropertyListFormat format) {
        return is_valid_plist_value(described.value.get(), format);
    };
    require(is_valid(kCFPropertyListXMLFormat_v1_0) == described.is_valid_in_xml, "valid in XML");
    require(is_valid(kCFPropertyListBinaryFormat_v1_0) == described.is_valid_in_binary,
            "valid in binary form");
    require(!is_valid(kCFPropertyListOpenStepFormat), "not valid in the OpenStep format");
}

void try_result(CFTypeRef result) {
    require(is_valid_plist_value(result, kCFPropertyListXMLFormat_v1_0), "a result valid in XML");
    require(is_valid_plist_value(result, kCFPropertyListBinaryFormat_v1_0),
            "a result valid in binary form");
    require(is_same(make_plist_compatible(result, 1).get(), result), "no change the second time");
    require_outcome_in_xml(result);
}

} // namespace

void try_input(input bytes) {
    const auto described = make_described_value(text_of(bytes));
    if (!described) {
        return;
    }
    try_copies(*described);
    try_validity(*described);
    if (const auto result = make_plist_compatible(described->value.get(), 0)) {
        try_result(result.get());
    }
}

} // namespace vandrel::fuzzing
