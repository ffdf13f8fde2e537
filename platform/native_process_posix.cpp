#include "platform/native_process.h"

#include <csignal>

#include <unistd.h>

namespace vandrel {

void prepare_process() {
    // Streams and paths are bytes here already. A pipe that nobody reads any more is an error of
    // writing, as on Windows, and no signal.
    std::signal(SIGPIPE, SIG_IGN);
}

void wait_for_process_end() {
    for (;;) {
        pause();
    }
}

} // namespace vandrel
