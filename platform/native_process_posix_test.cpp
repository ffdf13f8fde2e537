#include "platform/native_process.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <string>

#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vandrel {

namespace {

/// 'R' while it runs, 'S' while it sleeps.
char state_of(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    // The process's number, the program's name in parentheses, the state.
    std::string text;
    std::getline(file, text);
    return text.at(text.rfind(')') + 2);
}

} // namespace

TEST(wait_for_process_end, takes_no_processor_time) {
    const pid_t waiting = fork();
    ASSERT_GE(waiting, 0);
    if (waiting == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        wait_for_process_end();
    }
    // One that looked again and again would never sleep, and this test would not end.
    while (state_of(waiting) != 'S') {
        sched_yield();
    }
    kill(waiting, SIGKILL);
    EXPECT_EQ(waitpid(waiting, nullptr, 0), waiting);
}

} // namespace vandrel
