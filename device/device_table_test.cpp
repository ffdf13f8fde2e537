#include "device/device_table.h"
#include "foundation/cf_handle.h"
#include "simulator/core_foundation/accounting.h"
#include "simulator/mobile_device/simulation.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <utility>
#include <vector>

namespace {

using namespace vandrel;

const Orv::ecid some_ecid(std::uint64_t{0xAB});
const Orv::ecid other_ecid(std::uint64_t{0xCD});

device_handle make_device() {
    simulator::device_description description;
    description.name = "a device";
    return {simulator::create_device(std::move(description)), CFTypeDeleter()};
}

TEST(ecid_hash, the_hash_is_fnv_1a_over_the_bytes_from_the_least_significant) {
    // Computed by a Python program from the published algorithm.
    EXPECT_EQ(ecid_hash()(Orv::ecid(std::uint64_t{0})), 0xA8C7F832281A39C5U);
    EXPECT_EQ(ecid_hash()(Orv::ecid(std::uint64_t{0x0001A2B3C4D5E6F7})), 0x7B8C4F5017903045U);
}

TEST(device_table, a_new_table_is_empty_and_not_in_teardown) {
    device_table devices;
    const auto table = devices.lock();
    EXPECT_FALSE(table.contains(some_ecid));
    EXPECT_EQ(table.find(some_ecid), nullptr);
    EXPECT_TRUE(table.ecids().empty());
    EXPECT_FALSE(table.in_teardown());
}

TEST(device_table, a_device_is_found_by_its_ecid_until_it_is_erased) {
    device_table devices;
    const device_handle device = make_device();
    auto table = devices.lock();
    table.insert_or_assign(some_ecid, device);
    EXPECT_TRUE(table.contains(some_ecid));
    EXPECT_EQ(table.find(some_ecid), device);
    EXPECT_EQ(table.find(other_ecid), nullptr);
    table.erase(some_ecid);
    EXPECT_FALSE(table.contains(some_ecid));
    EXPECT_EQ(table.find(some_ecid), nullptr);
}

TEST(device_table, a_device_replaces_one_of_the_same_ecid_which_is_released) {
    device_table devices;
    const device_handle newer = make_device();
    auto table = devices.lock();
    table.insert_or_assign(some_ecid, make_device());
    table.insert_or_assign(some_ecid, newer);
    EXPECT_EQ(table.find(some_ecid), newer);
    EXPECT_EQ(simulator::live_objects()["AMRestorableDevice"], 1);
}

TEST(device_table, an_ecid_that_is_not_there_can_be_erased) {
    device_table devices;
    auto table = devices.lock();
    table.insert_or_assign(some_ecid, make_device());
    table.erase(other_ecid);
    EXPECT_TRUE(table.contains(some_ecid));
}

TEST(device_table, the_ecids_are_in_the_ascending_order_of_unsigned_numbers) {
    device_table devices;
    auto table = devices.lock();
    for (const char* ecid : {"8000000000000000", "0000000000000001", "7FFFFFFFFFFFFFFF"}) {
        table.insert_or_assign(Orv::ecid(ecid), nullptr);
    }
    EXPECT_EQ(table.ecids(),
              (std::vector{Orv::ecid("0000000000000001"), Orv::ecid("7FFFFFFFFFFFFFFF"),
                           Orv::ecid("8000000000000000")}));
}

TEST(device_table, the_teardown_is_seen_by_whoever_locks_it_next) {
    device_table devices;
    devices.lock().begin_teardown();
    EXPECT_TRUE(devices.lock().in_teardown());
}

TEST(device_table, a_second_access_waits_for_the_end_of_the_first) {
    device_table devices;
    std::future<device_handle> found;
    const device_handle device = make_device();
    {
        auto table = devices.lock();
        found = std::async(std::launch::async, [&] { return devices.lock().find(some_ecid); });
        // Long enough for the other thread to look, if nothing held it up.
        EXPECT_EQ(found.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
        table.insert_or_assign(some_ecid, device);
    }
    EXPECT_EQ(found.get(), device);
}

TEST(device_table, a_waiter_gives_the_lock_away_and_is_woken_by_a_change) {
    device_table devices;
    std::atomic<bool> is_locked = false;
    auto found = std::async(std::launch::async, [&] {
        auto table = devices.lock();
        is_locked = true;
        while (!table.contains(some_ecid)) {
            // Longer than the test may take.
            table.wait_for_change(std::chrono::hours(1));
        }
        return table.find(some_ecid);
    });
    while (!is_locked) {
        std::this_thread::yield();
    }
    const device_handle device = make_device();
    // Succeeds only once the waiter waits.
    devices.lock().insert_or_assign(some_ecid, device);
    devices.notify_all();
    EXPECT_EQ(found.get(), device);
}

TEST(device_table, a_wait_without_a_change_ends_with_its_time) {
    device_table devices;
    auto table = devices.lock();
    table.wait_for_change(std::chrono::nanoseconds(1));
    EXPECT_FALSE(table.contains(some_ecid));
}

} // namespace
