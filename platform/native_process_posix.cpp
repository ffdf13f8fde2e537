#include "platform/native_process.h"

#include <csignal>

#include <unistd.h>

namespace vandrel {

void prepare_process() {
    // Streams and paths are bytes here already. Writing to a pipe without a reader is an error, as
    // on Windows, not a signal.
    std::signal(SIGPIPE, SIG_IGN);
}

void wait_for_process_end() {
    for (;;) {
        pause();
    }
}

} // namespace vandrel
