#include "station/bundle_watch.h"
#include "tests/temporary_folder.h"

#include <boost/asio/executor_work_guard.hpp>
#include <gmock/gmock.h>

#include <condition_variable>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

namespace vandrel::station {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Whoever comes waits until it is open.
struct gate {
    std::mutex mutex;
    std::condition_variable changed;
    bool is_open = false;

    void pass() {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return is_open; });
    }

    void open() {
        const std::lock_guard lock(mutex);
        is_open = true;
        changed.notify_all();
    }
};

/// A folder with one bundle, which is not read before the gate is open.
class bundle_watch_over_a_folder : public ::testing::Test {
protected:
    bundle_watch_over_a_folder() {
        const std::filesystem::path file = folder_ / "a.ipsw";
        std::ofstream(file, std::ios::binary) << "bundle";
        const auto now = std::filesystem::file_time_type::clock::now();
        std::filesystem::last_write_time(file, now - std::chrono::hours(1));
    }

    ~bundle_watch_over_a_folder() override { gate_->open(); }

    bundle_folder::settings settings() const {
        bundle_folder::settings result;
        result.folder = folder_;
        result.read = [gate = gate_](const std::filesystem::path& path) {
            gate->pass();
            bundle read;
            read.path = path;
            return read;
        };
        return result;
    }

    bundle_watch watch(bundle_folder::settings how, std::chrono::milliseconds longest_hold) {
        return bundle_watch(
            context_, std::make_shared<bundle_folder>(std::move(how)),
            [this](const input& what) {
                if (const auto* list = std::get_if<list_arrived>(&what)) {
                    happened_.push_back("list " + std::to_string(list->list));
                } else if (const auto* read = std::get_if<bundles_read>(&what)) {
                    happened_.push_back(std::to_string(read->bundles.size()) + " read");
                } else {
                    happened_.emplace_back("other");
                }
            },
            longest_hold);
    }

    const vandrel::testing::temporary_folder made_;
    const std::filesystem::path folder_ = made_.path().string();
    const std::shared_ptr<gate> gate_ = std::make_shared<gate>();
    boost::asio::io_context context_;
    const boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_ =
        boost::asio::make_work_guard(context_);
    std::vector<std::string> happened_;
};

constexpr std::chrono::hours not_within_the_test(1);

TEST_F(bundle_watch_over_a_folder, gives_a_list_after_what_the_folder_had_when_it_began) {
    bundle_watch watched = watch(settings(), not_within_the_test);
    watched.list_begins();
    watched.take(list_arrived{1, {}});
    EXPECT_THAT(happened_, IsEmpty());
    gate_->open();
    while (happened_.empty()) {
        context_.run_one();
    }
    EXPECT_THAT(happened_, ElementsAre("1 read", "list 1"));
}

TEST_F(bundle_watch_over_a_folder, holds_nothing_but_lists) {
    bundle_watch watched = watch(settings(), not_within_the_test);
    watched.list_begins();
    watched.take(list_continued{1});
    EXPECT_THAT(happened_, ElementsAre("other"));
}

TEST_F(bundle_watch_over_a_folder, gives_a_list_when_the_next_begins) {
    bundle_watch watched = watch(settings(), not_within_the_test);
    watched.list_begins();
    watched.take(list_arrived{1, {}});
    watched.list_begins();
    EXPECT_THAT(happened_, ElementsAre("list 1"));
    // The look is that of the first list.
    watched.take(list_arrived{2, {}});
    EXPECT_THAT(happened_, ElementsAre("list 1", "list 2"));
}

TEST_F(bundle_watch_over_a_folder, gives_a_list_although_the_folder_does_not_answer) {
    bundle_folder::settings how = settings();
    how.slow = std::chrono::milliseconds(4);
    how.is_slow = [gate = gate_](const std::filesystem::path&) { gate->pass(); };
    bundle_watch watched = watch(std::move(how), std::chrono::milliseconds(1));
    watched.list_begins();
    watched.take(list_arrived{1, {}});
    while (happened_.empty()) {
        context_.run_one();
    }
    EXPECT_THAT(happened_, ElementsAre("list 1"));
    gate_->open();
}

TEST_F(bundle_watch_over_a_folder, gives_a_list_although_the_folder_cannot_be_read) {
    bundle_folder::settings how = settings();
    how.folder = folder_ / "missing";
    bundle_watch watched = watch(std::move(how), not_within_the_test);
    watched.list_begins();
    watched.take(list_arrived{1, {}});
    while (happened_.empty()) {
        context_.run_one();
    }
    EXPECT_THAT(happened_, ElementsAre("list 1"));
}

} // namespace
} // namespace vandrel::station
