#pragma once

#include <memory>
#include <string>

namespace vandrel::testing {

/// A named pipe to which nothing is ever written.
class silent_pipe {
public:
    silent_pipe();
    ~silent_pipe();
    silent_pipe(const silent_pipe&) = delete;
    silent_pipe& operator=(const silent_pipe&) = delete;

    /// In UTF-8.
    std::string name() const;

private:
    struct system_pipe;
    std::unique_ptr<system_pipe> pipe_;
};

} // namespace vandrel::testing
