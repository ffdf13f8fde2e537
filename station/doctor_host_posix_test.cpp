#include "station/doctor_host.h"
#include "station/doctor_host_posix.h"
#include "station/doctor_run.h"
#include "tests/temporary_folder.h"

#include <gmock/gmock.h>

#include <fstream>

#include <unistd.h>

namespace vandrel::station {
namespace {

using ::testing::ElementsAre;
using ::testing::Field;
namespace fs = std::filesystem;

class usb_folder : public ::testing::Test {
protected:
    void add(const std::string& name, const std::string& vendor, const std::string& product,
             const std::string& text) const {
        fs::create_directory(root_ / name);
        std::ofstream(root_ / name / "idVendor") << vendor << "\n";
        std::ofstream(root_ / name / "idProduct") << product << "\n";
        std::ofstream(root_ / name / "product") << text << "\n";
    }

    const vandrel::testing::temporary_folder made_;
    const fs::path root_ = made_.path().string();
};

TEST_F(usb_folder, has_the_devices_of_apples_number) {
    add("usb1", "1d6b", "0002", "Hub");
    add("1-2", "05ac", "1281", "Recovery");
    add("1-1", "05ac", "1227", "DFU");
    fs::create_directory(root_ / "1-1:1.0");
    const auto found = apple_devices_in(root_);
    ASSERT_TRUE(found);
    EXPECT_THAT(*found, ElementsAre(AllOf(Field(&usb_device::product, 0x1227),
                                          Field(&usb_device::name, "DFU")),
                                    AllOf(Field(&usb_device::product, 0x1281),
                                          Field(&usb_device::name, "Recovery"))));
}

TEST_F(usb_folder, that_is_not_there_says_nothing) {
    EXPECT_FALSE(apple_devices_in(root_ / "none"));
    EXPECT_TRUE(apple_devices_in(root_)->empty());
}

class a_left_folder_of_posix : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(folder_ / "PRB");
        std::ofstream(folder_ / "PRB" / "image") << "12345";
    }

    const vandrel::testing::temporary_folder made_;
    const fs::path parent_ = made_.path().string();
    const fs::path folder_ = parent_ / "vandrel.0a1b2c";
};

TEST_F(a_left_folder_of_posix, has_a_link_that_is_in_it) {
    fs::create_directory_symlink(parent_, folder_ / "PRB" / "up");
    EXPECT_TRUE(look_into(folder_).has_link);
    EXPECT_EQ(look_into(folder_).problem, "");
}

TEST_F(a_left_folder_of_posix, that_is_itself_a_link_is_so) {
    fs::create_directory_symlink(folder_, parent_ / "vandrel.ffffff");
    EXPECT_TRUE(look_into(parent_ / "vandrel.ffffff").has_link);
}

TEST_F(a_left_folder_of_posix, of_another_user_is_not_own) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file to another user";
    }
    constexpr uid_t nobody = 65534;
    ASSERT_EQ(chown((folder_ / "PRB" / "image").c_str(), nobody, nobody), 0);
    EXPECT_FALSE(look_into(folder_).is_own);
}

TEST(a_folder_of_posix, that_is_not_there_is_on_no_disk) {
    EXPECT_THROW(is_on_network("/none/at/all"), std::exception);
}

TEST_F(a_left_folder_of_posix, in_which_a_process_works_is_open) {
    const fs::path before = fs::current_path();
    fs::current_path(folder_ / "PRB");
    const bool is_open = look_into(folder_).is_open;
    fs::current_path(before);
    EXPECT_TRUE(is_open);
    EXPECT_FALSE(look_into(folder_).is_open);
}

} // namespace
} // namespace vandrel::station
