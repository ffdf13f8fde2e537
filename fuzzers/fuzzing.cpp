#include "fuzzers/fuzzing.h"

#include "platform/native_process.h"
#include "simulator/core_foundation/accounting.h"

#include <cstdio>
#include <cstdlib>

namespace vandrel::fuzzing {

void require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "required: %s\n", what);
        std::abort();
    }
}

} // namespace vandrel::fuzzing

// The two functions that libFuzzer calls.

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Like the tool: paths are UTF-8.
    vandrel::prepare_process();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::int64_t before = simulator::live_object_count();
    vandrel::fuzzing::try_input({data, size});
    vandrel::fuzzing::require(simulator::live_object_count() == before,
                              "as many live objects as before");
    return 0;
}
