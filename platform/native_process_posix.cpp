#include "platform/native_process.h"

#include <unistd.h>

namespace vandrel {

// Streams and paths are bytes here already.
void prepare_process() {}

void wait_for_process_end() {
    for (;;) {
        pause();
    }
}

} // namespace vandrel
