#include "tests/foreign_handle.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace vandrel::testing {

foreign_handle foreign_handle::of_file(const boost::filesystem::path& path) {
    return foreign_handle(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
}

foreign_handle foreign_handle::of_another_kind() {
    return foreign_handle(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

foreign_handle::foreign_handle(std::intptr_t number) : number_(number) {
    if (number_ < 0) {
        throw std::system_error(errno, std::generic_category(), "open");
    }
}

foreign_handle::~foreign_handle() {
    close(static_cast<int>(number_));
}

} // namespace vandrel::testing
