#include "output/lock_soon.h"

#include <gtest/gtest.h>

namespace {

using vandrel::lock_soon;

/// A mutex that can be locked at one of the tries, and counts what is called.
struct counting_mutex {
    bool try_lock() { return ++tries == free_at; }
    void lock() { ++locks; }
    void unlock() { ++unlocks; }

    int free_at = 0;
    int tries = 0;
    int locks = 0;
    int unlocks = 0;
};

TEST(lock_soon, a_free_mutex_is_locked_at_the_first_try) {
    counting_mutex mutex{.free_at = 1};
    EXPECT_TRUE(lock_soon(mutex).owns_lock());
    EXPECT_EQ(mutex.tries, 1);
    EXPECT_EQ(mutex.locks, 0);
    EXPECT_EQ(mutex.unlocks, 1);
}

TEST(lock_soon, a_mutex_that_is_free_at_the_last_try_is_not_waited_for) {
    counting_mutex mutex{.free_at = 4000};
    EXPECT_TRUE(lock_soon(mutex).owns_lock());
    EXPECT_EQ(mutex.tries, 4000);
    EXPECT_EQ(mutex.locks, 0);
}

TEST(lock_soon, after_4000_tries_the_mutex_is_waited_for) {
    counting_mutex mutex;
    EXPECT_TRUE(lock_soon(mutex).owns_lock());
    EXPECT_EQ(mutex.tries, 4000);
    EXPECT_EQ(mutex.locks, 1);
    EXPECT_EQ(mutex.unlocks, 1);
}

} // namespace
