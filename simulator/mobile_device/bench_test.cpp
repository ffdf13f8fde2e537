#include "simulator/mobile_device/bench.h"
#include "simulator/mobile_device/test_temporary_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <thread>
#include <vector>

namespace simulator {

namespace {

constexpr std::uint64_t some_ecid = 0x8001A2B3C4D5E6F7;

} // namespace

TEST(bench, starts_when_it_is_first_opened) {
    const test::temporary_folder folder;
    const auto before = bench::clock::now();
    const bench first(folder / "bench");
    const bench second(folder / "bench");
    EXPECT_GE(first.start(), before);
    EXPECT_LE(first.start(), bench::clock::now());
    EXPECT_EQ(second.start(), first.start());
}

TEST(bench, starts_again_after_its_folder_was_removed) {
    const test::temporary_folder folder;
    { bench(folder / "bench").begin_restore(some_ecid); }
    std::filesystem::remove_all(utf8_path(folder / "bench"));
    EXPECT_TRUE(bench(folder / "bench").devices().empty());
}

TEST(bench, starts_again_if_its_start_lies_in_the_future) {
    const test::temporary_folder folder;
    { bench(folder / "bench").begin_restore(some_ecid); }
    test::write_file(folder / "bench/state", "9223372036854775807\n1 1 - - -\n");
    bench opened(folder / "bench");
    EXPECT_LE(opened.start(), bench::clock::now());
    EXPECT_TRUE(opened.devices().empty());
}

TEST(bench, remembers_what_was_restored_and_when_it_returns) {
    const test::temporary_folder folder;
    const auto returns = bench::clock::now() + std::chrono::hours(1);
    {
        bench first(folder / "bench");
        EXPECT_EQ(first.begin_restore(some_ecid), 0);
        first.complete_restore(some_ecid, returns);
        EXPECT_EQ(first.begin_restore(1), 0);
        first.complete_restore(1, std::nullopt);
    }
    auto known = bench(folder / "bench").devices();
    ASSERT_EQ(known.size(), 2U);
    EXPECT_EQ(known[some_ecid].restores, 1);
    EXPECT_TRUE(known[some_ecid].restored.has_value());
    EXPECT_EQ(known[some_ecid].returns, returns);
    EXPECT_EQ(known[some_ecid].held_by_other_since, std::nullopt);
    EXPECT_TRUE(known[1].restored.has_value());
    EXPECT_EQ(known[1].returns, std::nullopt);
}

TEST(bench, allows_one_restore_of_a_device_at_a_time) {
    const test::temporary_folder folder;
    bench first(folder / "bench");
    bench second(folder / "bench");
    const auto before = bench::clock::now();
    EXPECT_EQ(first.begin_restore(some_ecid), 0);
    EXPECT_EQ(second.begin_restore(some_ecid), std::nullopt);
    EXPECT_GE(second.devices()[some_ecid].held_by_other_since, before);
    EXPECT_EQ(first.devices()[some_ecid].held_by_other_since, std::nullopt);
    EXPECT_TRUE(first.holds_any());
    EXPECT_FALSE(second.holds_any());
    first.complete_restore(some_ecid, std::nullopt);
    EXPECT_FALSE(first.holds_any());
    EXPECT_EQ(second.devices()[some_ecid].held_by_other_since, std::nullopt);
    EXPECT_EQ(second.begin_restore(some_ecid), 1);
}

TEST(bench, releases_a_device_with_its_holder) {
    const test::temporary_folder folder;
    bench other(folder / "bench");
    { bench(folder / "bench").begin_restore(some_ecid); }
    EXPECT_EQ(other.devices()[some_ecid].held_by_other_since, std::nullopt);
    EXPECT_EQ(other.devices()[some_ecid].restored, std::nullopt);
    EXPECT_EQ(other.begin_restore(some_ecid), 1);
}

TEST(bench, allows_its_holder_another_restore) {
    const test::temporary_folder folder;
    bench own(folder / "bench");
    EXPECT_EQ(own.begin_restore(some_ecid), 0);
    EXPECT_EQ(own.begin_restore(some_ecid), 1);
}

TEST(bench, keeps_all_changes_of_several_threads) {
    const test::temporary_folder folder;
    std::vector<std::thread> threads;
    for (std::uint64_t ecid = 1; ecid <= 8; ++ecid) {
        threads.emplace_back([&folder, ecid] {
            bench own(folder / "bench");
            for (int i = 0; i < 20; ++i) {
                own.begin_restore(ecid);
                own.complete_restore(ecid, std::nullopt);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    auto known = bench(folder / "bench").devices();
    ASSERT_EQ(known.size(), 8U);
    for (const auto& [ecid, device] : known) {
        EXPECT_EQ(device.restores, 20) << ecid;
    }
}

void expect_unusable(const std::string& path) {
    try {
        const bench opened(path);
        FAIL() << "opened";
    } catch (const std::runtime_error& error) {
        const std::string text = error.what();
        EXPECT_TRUE(text.starts_with(path + ": folder: is unusable (")) << text;
        EXPECT_TRUE(text.ends_with("); should be a folder that can be written")) << text;
    }
}

TEST(bench, needs_a_folder_that_it_can_write) {
    const test::temporary_folder folder;
    test::write_file(folder / "file", "");
    expect_unusable(folder / "file");
}

TEST(bench, needs_a_state_that_it_can_read) {
    const test::temporary_folder folder;
    { bench(folder / "bench").begin_restore(some_ecid); }
    test::write_file(folder / "bench/state", "1\n1 some - - -\n");
    expect_unusable(folder / "bench");
}

} // namespace simulator
