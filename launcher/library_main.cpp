/// The library's one exported function.

#include "driver/asks_for_help.h"
#include "driver/entry_point.h"
#include "platform/forwarding/apple_libraries.h"

#include <cstdio>

int main(int argument_count, char** arguments) {
    try {
        vandrel::load_apple_libraries();
    } catch (const vandrel::apple_library_missing& missing) {
        if (!vandrel::asks_for_help(argument_count, arguments)) {
            std::fprintf(stderr, "vandrel: %s\n", missing.what());
            return 1;
        }
    }
    return vandrel::entry_point(argument_count, arguments);
}
