/// vandrel-check-platform FOLDER: compares what Apple's CoreFoundation, as it is installed here,
/// makes of the documents in FOLDER with the expected results there, and checks other facts about
/// it. Prints each difference. The exit status is 0 if there is none, else 1.

#include "launcher/launch.h"
#include "launcher/platform_truth.h"
#include "platform/forwarding/apple_libraries.h"

#include <cstdio>
#include <stdexcept>

namespace vandrel {

namespace {

std::size_t print_differences(const char* what, const truth_result& result) {
    for (const std::string& difference : result.differences) {
        std::printf("%s\n", difference.c_str());
    }
    std::printf("%zu of %zu %s are as expected\n", result.checked - result.differences.size(),
                result.checked, what);
    return result.differences.size();
}

} // namespace

int launch(int argument_count, const char* const* arguments) {
    if (argument_count != 2) {
        std::fputs("usage: vandrel-check-platform FOLDER\n", stderr);
        return 1;
    }
    try {
        load_apple_libraries();
        const std::size_t documents = print_differences("documents", check_documents(arguments[1]));
        const std::size_t values = print_differences("other facts", check_values());
        return documents + values == 0 ? 0 : 1;
    } catch (const std::runtime_error& failure) {
        std::fprintf(stderr, "vandrel-check-platform: %s\n", failure.what());
        return 1;
    }
}

} // namespace vandrel
