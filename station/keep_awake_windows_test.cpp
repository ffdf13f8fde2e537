#include "station/host.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace vandrel::station {

namespace {

/// What the thread asks for. The call that returns it also ends it.
EXECUTION_STATE asked_for() {
    return SetThreadExecutionState(ES_CONTINUOUS);
}

} // namespace

TEST(keep_awake, asks_the_system_until_it_is_let_go) {
    keep_awake(true);
    EXPECT_EQ(asked_for(), ES_CONTINUOUS | ES_SYSTEM_REQUIRED);
    keep_awake(true);
    keep_awake(false);
    EXPECT_EQ(asked_for(), ES_CONTINUOUS);
}

} // namespace vandrel::station
