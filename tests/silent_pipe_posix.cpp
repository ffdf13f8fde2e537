#include "tests/silent_pipe.h"
#include "tests/temporary_folder.h"

#include <cerrno>
#include <system_error>

#include <sys/stat.h>

namespace vandrel::testing {

struct silent_pipe::system_pipe {
    temporary_folder folder;
};

silent_pipe::silent_pipe() : pipe_(std::make_unique<system_pipe>()) {
    if (mkfifo(name().c_str(), 0600) != 0) {
        throw std::system_error(errno, std::generic_category(), "mkfifo");
    }
}

silent_pipe::~silent_pipe() = default;

std::string silent_pipe::name() const {
    return (pipe_->folder.path() / "pipe").string();
}

} // namespace vandrel::testing
