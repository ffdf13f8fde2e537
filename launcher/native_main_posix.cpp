#include "launcher/launch.h"

#include <fcntl.h>
#include <unistd.h>

namespace {

/// A file that is opened gets the lowest free number. None of ours may get the number of a standard
/// stream that was closed before the start, or output would be written into it.
void take_numbers_of_standard_streams() {
    int number = 0;
    while (number >= 0 && number <= STDERR_FILENO) {
        number = open("/dev/null", O_RDWR | O_CLOEXEC);
    }
    close(number);
}

} // namespace

int main(int argument_count, char** arguments) {
    take_numbers_of_standard_streams();
    return vandrel::launch(argument_count, arguments);
}
