#pragma once

#include <cerrno>
#include <cstdint>
#include <functional>
#include <thread>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>

namespace vandrel::testing {

/// Makes `call`, a number of a system call, fail with `error` in this thread, in the threads and in
/// the processes that it starts. False when the system does not let that be done.
inline bool fail_from_now_on(long call, int error) {
    sock_filter program[] = {
        {BPF_LD | BPF_W | BPF_ABS, 0, 0, 0}, // the number of the call
        {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, static_cast<std::uint32_t>(call)},
        {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(error)},
        {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW}};
    const sock_fprog filter{4, program};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

/// Runs this in a thread of its own, in which the call fails. False when it was not run.
inline bool with_failing_call(long call, int error, const std::function<void()>& what) {
    bool is_run = false;
    std::thread([&] {
        if (fail_from_now_on(call, error)) {
            is_run = true;
            what();
        }
    }).join();
    return is_run;
}

} // namespace vandrel::testing
