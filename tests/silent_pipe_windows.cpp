#include "tests/silent_pipe.h"

#include <atomic>
#include <system_error>

#include <windows.h>

namespace vandrel::testing {

struct silent_pipe::system_pipe {
    std::string name;
    HANDLE server;
};

silent_pipe::silent_pipe() : pipe_(std::make_unique<system_pipe>()) {
    static std::atomic<int> count = 0;
    pipe_->name = "\\\\.\\pipe\\vandrel-test-silent-" + std::to_string(GetCurrentProcessId()) +
                  "-" + std::to_string(++count);
    pipe_->server = CreateNamedPipeA(pipe_->name.c_str(), PIPE_ACCESS_OUTBOUND, PIPE_TYPE_BYTE, 1,
                                     0, 0, 0, nullptr);
    if (pipe_->server == INVALID_HANDLE_VALUE) {
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category(),
                                "CreateNamedPipeA");
    }
}

silent_pipe::~silent_pipe() {
    CloseHandle(pipe_->server);
}

std::string silent_pipe::name() const {
    return pipe_->name;
}

} // namespace vandrel::testing
