#include "station/bundle_cache.h"
#include "station/bundle_folder.h"
#include "station/text.h"
#include "tests/temporary_folder.h"

#include <gmock/gmock.h>

#include <condition_variable>
#include <fstream>
#include <memory>
#include <mutex>

namespace vandrel::station {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::chrono::minutes patience(1);
/// Not within the test.
constexpr std::chrono::hours long_ago(1);

/// Reads a file as a bundle whose build is what the file contains, and keeps account of it. "BAD"
/// cannot be used; "SLOW" takes until it is let go.
struct scripted_reading {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> read;
    bool is_let_go = false;

    bundle operator()(const std::filesystem::path& path) {
        std::ifstream file(path);
        std::string content;
        std::getline(file, content);
        std::unique_lock lock(mutex);
        read.push_back(path.filename().string());
        if (content == "BAD") {
            throw unusable_file(path, "is bad");
        }
        changed.wait(lock, [&] { return content != "SLOW" || is_let_go; });
        bundle result;
        result.path = path;
        result.build = content;
        result.version = "17.1";
        result.size = content.size();
        result.unpacked_size = 7;
        result.models = {"iPhone14,2", "iPhone14,3"};
        result.identities = {{0x8110, 0x0C},
                             {0x8110, 0x0C, restore_behavior::erase},
                             {0x8110, 0x0E, restore_behavior::update}};
        return result;
    }

    void let_go() {
        const std::lock_guard lock(mutex);
        is_let_go = true;
        changed.notify_all();
    }

    std::vector<std::string> taken() {
        const std::lock_guard lock(mutex);
        return std::exchange(read, {});
    }
};

class bundle_folder_with_files : public ::testing::Test {
protected:
    void TearDown() override { reading_->let_go(); }

    std::filesystem::path write(const std::string& name, const std::string& content,
                                std::chrono::seconds age = long_ago) const {
        const std::filesystem::path path = folder_ / name;
        std::ofstream(path, std::ios::binary) << content;
        const auto now = std::filesystem::file_time_type::clock::now();
        std::filesystem::last_write_time(path, now - age);
        return path;
    }

    bundle_folder::settings settings() const {
        bundle_folder::settings result;
        result.folder = folder_;
        result.cache = folder_ / "kept" / "cache.json";
        result.read = [reading = reading_](const std::filesystem::path& path) {
            return (*reading)(path);
        };
        return result;
    }

    /// Of a new object, as in a new process.
    std::vector<bundle_file> look() const { return bundle_folder(settings()).look(patience); }

    static std::vector<std::string> builds_of(const std::vector<bundle_file>& files) {
        std::vector<std::string> result;
        for (const bundle_file& each : files) {
            result.push_back(each.content ? each.content->build : each.problem);
        }
        return result;
    }

    const vandrel::testing::temporary_folder made_;
    const std::filesystem::path folder_ = made_.path().string();
    const std::shared_ptr<scripted_reading> reading_ = std::make_shared<scripted_reading>();
};

TEST_F(bundle_folder_with_files, has_those_that_end_in_ipsw_in_the_order_of_their_names) {
    write("b.ipsw", "2A1");
    write("a.IPSW", "1A1");
    write("c.zip", "3A1");
    write("ipsw", "4A1");
    EXPECT_THAT(builds_of(look()), ElementsAre("1A1", "2A1"));
}

TEST_F(bundle_folder_with_files, says_why_one_cannot_be_used) {
    write("a.ipsw", "BAD");
    std::filesystem::create_directory(folder_ / "b.ipsw");
    EXPECT_THAT(builds_of(look()), ElementsAre("is bad", "is no IPSW: it is no file"));
    EXPECT_THAT(usable(look()), IsEmpty());
}

TEST_F(bundle_folder_with_files, that_is_not_there_is_an_error) {
    bundle_folder::settings how = settings();
    how.folder = folder_ / "none";
    bundle_folder folder(how);
    EXPECT_THROW(folder.look(patience), std::runtime_error);
}

TEST_F(bundle_folder_with_files, reads_a_file_once_also_in_another_process) {
    write("a.ipsw", "1A1");
    write("b.ipsw", "BAD");
    const auto first = look();
    EXPECT_THAT(reading_->taken(), ElementsAre("a.ipsw", "b.ipsw"));
    const auto second = look();
    EXPECT_THAT(reading_->taken(), IsEmpty());
    ASSERT_EQ(second.size(), 2u);
    ASSERT_TRUE(second[0].content);
    const bundle& before = *first[0].content;
    const bundle& after = *second[0].content;
    EXPECT_EQ(after.path, before.path);
    EXPECT_EQ(after.size, before.size);
    EXPECT_EQ(after.unpacked_size, before.unpacked_size);
    EXPECT_EQ(after.version, before.version);
    EXPECT_EQ(after.build, before.build);
    EXPECT_EQ(after.models, before.models);
    EXPECT_EQ(after.identities, before.identities);
    EXPECT_EQ(second[1].problem, "is bad");
}

TEST_F(bundle_folder_with_files, reads_a_file_again_when_its_size_or_its_time_has_changed) {
    write("a.ipsw", "1A1");
    write("b.ipsw", "1A1");
    write("c.ipsw", "1A1");
    look();
    reading_->taken();
    write("a.ipsw", "1A10");
    write("b.ipsw", "2A1", long_ago + std::chrono::hours(1));
    EXPECT_THAT(builds_of(look()), ElementsAre("1A10", "2A1", "1A1"));
    EXPECT_THAT(reading_->taken(), ElementsAre("a.ipsw", "b.ipsw"));
}

TEST_F(bundle_folder_with_files, forgets_a_file_that_has_gone) {
    const auto path = write("a.ipsw", "1A1");
    look();
    std::filesystem::remove(path);
    EXPECT_THAT(look(), IsEmpty());
    EXPECT_THAT(load_cache(settings().cache, folder_), IsEmpty());
}

TEST_F(bundle_folder_with_files, does_not_need_a_cache_that_can_be_used) {
    write("a.ipsw", "1A1");
    for (const std::string broken :
         {"", "{", "[]", "{\"version\":1}", "\xFF\xFE", "{\"version\":\"0\",\"folder\":\"\"}"}) {
        look();
        std::string text;
        {
            std::ifstream file(settings().cache, std::ios::binary);
            text.assign(std::istreambuf_iterator<char>(file), {});
        }
        ASSERT_FALSE(text.empty());
        reading_->taken();
        std::ofstream(settings().cache, std::ios::binary) << broken;
        EXPECT_THAT(builds_of(look()), ElementsAre("1A1")) << broken;
        EXPECT_THAT(reading_->taken(), ElementsAre("a.ipsw")) << broken;
        // Cut off, and with another type in the place of one.
        for (std::size_t end = 0; end < text.size() - 2; end += 7) {
            std::ofstream(settings().cache, std::ios::binary) << text.substr(0, end);
            EXPECT_THAT(load_cache(settings().cache, folder_), IsEmpty()) << end;
        }
    }
    bundle_folder::settings without = settings();
    without.cache.clear();
    EXPECT_THAT(builds_of(bundle_folder(without).look(patience)), ElementsAre("1A1"));
}

TEST_F(bundle_folder_with_files, does_not_take_the_cache_of_another_folder_or_version) {
    write("a.ipsw", "1A1");
    look();
    EXPECT_EQ(load_cache(settings().cache, folder_).size(), 1u);
    EXPECT_THAT(load_cache(settings().cache, folder_ / "other"), IsEmpty());
    std::string text;
    {
        std::ifstream file(settings().cache, std::ios::binary);
        text.assign(std::istreambuf_iterator<char>(file), {});
    }
    const std::string key = "\"version\":\"";
    ASSERT_NE(text.find(key), std::string::npos);
    text.insert(text.find(key) + key.size(), "other ");
    std::ofstream(settings().cache, std::ios::binary) << text;
    EXPECT_THAT(load_cache(settings().cache, folder_), IsEmpty());
    EXPECT_NE(cache_of("a"), cache_of("b"));
    EXPECT_EQ(cache_of("a"), cache_of("a"));
}

TEST_F(bundle_folder_with_files, does_not_read_one_that_has_just_changed) {
    const auto path = write("a.ipsw", "1A1", std::chrono::seconds(0));
    bundle_folder::settings how = settings();
    how.at_rest = long_ago;
    EXPECT_THAT(builds_of(bundle_folder(how).look(patience)), ElementsAre("is still being copied"));
    EXPECT_THAT(reading_->taken(), IsEmpty());
    // And keeps nothing of that.
    write("a.ipsw", "1A1", long_ago + std::chrono::hours(1));
    EXPECT_THAT(builds_of(bundle_folder(how).look(patience)), ElementsAre("1A1"));
}

TEST_F(bundle_folder_with_files, takes_a_time_to_come_for_a_wrong_clock) {
    write("a.ipsw", "1A1", -long_ago);
    EXPECT_THAT(builds_of(look()), ElementsAre("1A1"));
}

TEST_F(bundle_folder_with_files, does_not_use_one_that_grows_while_it_is_read) {
    const auto path = write("a.ipsw", "1A1");
    bundle_folder::settings how = settings();
    how.read = [&](const std::filesystem::path& each) {
        bundle result = (*reading_)(each);
        std::ofstream(path, std::ios::binary | std::ios::app) << "more";
        return result;
    };
    EXPECT_THAT(builds_of(bundle_folder(how).look(patience)), ElementsAre("is still being copied"));
}

TEST_F(bundle_folder_with_files, reads_a_file_again_that_could_not_be_read_for_another_reason) {
    write("a.ipsw", "1A1");
    bool fails = true;
    bundle_folder::settings how = settings();
    how.read = [&](const std::filesystem::path& path) {
        if (std::exchange(fails, false)) {
            throw std::runtime_error("no memory\n");
        }
        return (*reading_)(path);
    };
    bundle_folder folder(how);
    const auto& files = folder.look(patience);
    EXPECT_EQ(files.at(0).problem, "cannot be read: no memory\xEF\xBF\xBD");
    EXPECT_TRUE(files.at(0).is_passing);
    EXPECT_THAT(builds_of(folder.look(patience)), ElementsAre("1A1"));
}

TEST_F(bundle_folder_with_files, does_not_judge_the_sums_of_a_file_that_changes_meanwhile) {
    write("a.ipsw", "1A1");
    bundle_folder folder(settings());
    const auto& files = folder.look(patience);
    write("a.ipsw", "1A1 and more");
    folder.verify(0);
    EXPECT_THAT(builds_of(files), ElementsAre("is still being copied"));
    EXPECT_TRUE(files.at(0).is_passing);
    // Nor those of one that cannot be used.
    folder.verify(0);
    EXPECT_THAT(builds_of(files), ElementsAre("is still being copied"));
    EXPECT_THAT(builds_of(folder.look(patience)), ElementsAre("1A1 and more"));
}

TEST_F(bundle_folder_with_files, does_not_use_one_that_goes_while_it_is_read) {
    const auto path = write("a.ipsw", "1A1");
    bundle_folder::settings how = settings();
    how.read = [&](const std::filesystem::path& each) {
        bundle result = (*reading_)(each);
        std::filesystem::remove(path);
        return result;
    };
    EXPECT_THAT(builds_of(bundle_folder(how).look(patience)), ElementsAre("is still being copied"));
}

TEST_F(bundle_folder_with_files, reads_one_anew_that_has_changed_while_its_disk_was_slow) {
    write("a.ipsw", "SLOW");
    bundle_folder::settings how = settings();
    how.slow = std::chrono::milliseconds(1);
    bundle_folder folder(how);
    EXPECT_THAT(builds_of(folder.look(std::chrono::milliseconds(20))),
                ElementsAre("has not been read yet: its disk is slow"));
    write("a.ipsw", "1A1");
    EXPECT_THAT(builds_of(folder.look(patience)), ElementsAre("1A1"));
}

TEST_F(bundle_folder_with_files, does_not_wait_for_a_disk_at_its_end) {
    write("a.ipsw", "SLOW");
    {
        bundle_folder folder(settings());
        folder.look(std::chrono::milliseconds(1));
    }
    // A folder that waited would never come here.
    EXPECT_FALSE(reading_->is_let_go);
}

TEST_F(bundle_folder_with_files, reads_the_others_when_a_disk_keeps_one_waiting) {
    write("a.ipsw", "SLOW");
    write("b.ipsw", "1A1");
    std::vector<std::string> slow;
    bundle_folder::settings how = settings();
    how.slow = std::chrono::milliseconds(1);
    how.is_slow = [&](const std::filesystem::path& path) {
        slow.push_back(path.filename().string());
    };
    bundle_folder folder(how);
    EXPECT_THAT(builds_of(folder.look(std::chrono::milliseconds(100))),
                ElementsAre("has not been read yet: its disk is slow", "1A1"));
    EXPECT_EQ(slow.at(0), "a.ipsw");
    // The same read goes on, and a later look has it.
    folder.look(std::chrono::milliseconds(1));
    EXPECT_THAT(reading_->taken(), ElementsAre("a.ipsw", "b.ipsw"));
    reading_->let_go();
    EXPECT_THAT(builds_of(folder.look(patience)), ElementsAre("SLOW", "1A1"));
    EXPECT_THAT(reading_->taken(), IsEmpty());
}

TEST_F(bundle_folder_with_files, waits_for_a_slow_disk_as_long_as_it_may) {
    write("a.ipsw", "SLOW");
    bundle_folder::settings how = settings();
    how.slow = std::chrono::milliseconds(1);
    how.is_slow = [this](const std::filesystem::path&) { reading_->let_go(); };
    EXPECT_THAT(builds_of(bundle_folder(how).look(patience)), ElementsAre("SLOW"));
}

TEST_F(bundle_folder_with_files, is_not_held_up_by_many_slow_files) {
    for (const char name : std::string("abcdefghijkl")) {
        write(std::string(1, name) + ".ipsw", "SLOW");
    }
    bundle_folder::settings how = settings();
    how.slow = std::chrono::milliseconds(1);
    bundle_folder folder(how);
    EXPECT_EQ(builds_of(folder.look(std::chrono::milliseconds(20))),
              std::vector<std::string>(12, "has not been read yet: its disk is slow"));
    EXPECT_LE(reading_->taken().size(), 8u);
    reading_->let_go();
    EXPECT_EQ(builds_of(folder.look(patience)), std::vector<std::string>(12, "SLOW"));
}

} // namespace
} // namespace vandrel::station
