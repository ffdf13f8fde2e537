#include "station/device_lister.h"
#include "station/text.h"
#include "tests/temporary_folder.h"

#include <gmock/gmock.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <utility>

namespace vandrel::station {
namespace {

using ::testing::ElementsAre;
using ::testing::Field;

constexpr const char* ecid_a = "00000000000000AA";
constexpr const char* ecid_b = "00000000000000BB";

std::string record(const std::string& type, const std::string& value) {
    return "<plist version=\"1.0\"><dict><key>Type</key><string>" + type +
           "</string><key>Value</key>" + value + "</dict></plist>\n";
}

std::string text(const std::string& value) {
    return "<string>" + value + "</string>";
}

/// A lister whose tool plays scripts; A and B are attached.
class device_lister_with_scripts : public ::testing::Test {
protected:
    void SetUp() override {
        std::filesystem::create_directory(folder_ / "own");
        write("list", record("DeviceList", "<array>" + text(ecid_a) + text(ecid_b) + "</array>"));
        for (const std::string ecid : {ecid_a, ecid_b}) {
            write(ecid + ".info",
                  record("DeviceInfo",
                         "<dict><key>ECID</key>" + text(ecid) +
                             "<key>SerialNumber</key><string>S</string><key>ChipID</key>"
                             "<integer>1</integer><key>BoardID</key><integer>2</"
                             "integer><key>LocationID</key><integer>0</integer>"
                             "<key>ProductString</key><string>P</string></dict>"));
        }
    }

    void write(const std::string& name, const std::string& content) const {
        std::ofstream(folder_ / name, std::ios::binary) << content;
    }

    device_lister::settings settings() const {
        device_lister::settings result;
        result.tool = {SCRIPTED_TOOL, {text_of(folder_)}};
        result.folder = folder_ / "own";
        return result;
    }

    /// Until the list is there, or cannot be had.
    input outcome_of(const device_lister::settings& how, auto begin) {
        std::optional<input> outcome;
        device_lister lister(context_, how, [&](input what) {
            if (!std::holds_alternative<list_continued>(what)) {
                outcome = std::move(what);
            }
        });
        begin(lister);
        const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        while (!outcome && std::chrono::steady_clock::now() < limit) {
            context_.run_one_until(limit);
        }
        return outcome ? *outcome : list_not_had{0, list_failure::timed_out, "nothing came"};
    }

    const vandrel::testing::temporary_folder made_;
    const std::filesystem::path folder_ = made_.path().string();
    boost::asio::io_context context_;
};

TEST_F(device_lister_with_scripts, has_the_properties_of_each_device) {
    const input outcome = outcome_of(settings(), [](device_lister& lister) {
        lister.start({1, {}});
    });
    ASSERT_TRUE(std::holds_alternative<list_arrived>(outcome));
    const auto& devices = std::get<list_arrived>(outcome).devices;
    EXPECT_THAT(devices, ElementsAre(Field(&listed_device::ecid, ecid_a),
                                     Field(&listed_device::ecid, ecid_b)));
    for (const listed_device& each : devices) {
        ASSERT_TRUE(each.properties);
        EXPECT_EQ(each.properties->serial_number, "S");
    }
}

TEST_F(device_lister_with_scripts, lists_a_device_whose_properties_hang_without_them) {
    write(std::string(ecid_a) + ".looked", "hang");
    write(std::string(ecid_b) + ".looked", "hang");
    device_lister::settings how = settings();
    how.properties_limit = std::chrono::milliseconds(0);
    const input outcome = outcome_of(how, [](device_lister& lister) { lister.start({1, {}}); });
    ASSERT_TRUE(std::holds_alternative<list_arrived>(outcome));
    const auto& devices = std::get<list_arrived>(outcome).devices;
    EXPECT_EQ(devices.size(), 2u);
    for (const listed_device& each : devices) {
        EXPECT_FALSE(each.properties);
    }
}

TEST_F(device_lister_with_scripts, lists_a_device_whose_properties_are_an_error_without_them) {
    write(std::string(ecid_a) + ".info",
          record("InternalError", "<dict><key>Code</key><integer>9</integer></dict>"));
    const input outcome = outcome_of(settings(), [](device_lister& lister) {
        lister.start({1, {}});
    });
    ASSERT_TRUE(std::holds_alternative<list_arrived>(outcome));
    const auto& devices = std::get<list_arrived>(outcome).devices;
    ASSERT_EQ(devices.size(), 2u);
    EXPECT_FALSE(devices[0].properties);
    EXPECT_TRUE(devices[1].properties);
}

TEST_F(device_lister_with_scripts, leaves_no_limit_in_the_loop_when_it_goes) {
    write(std::string(ecid_a) + ".looked", "hang");
    device_lister::settings how = settings();
    how.properties_limit = std::chrono::hours(1);
    {
        std::size_t news = 0;
        device_lister lister(context_, how, [&](const input&) { ++news; });
        lister.start({1, {}});
        // The list, and the properties of the other device.
        while (news < 2) {
            context_.run_one();
        }
    }
    context_.run_for(std::chrono::minutes(1));
    EXPECT_TRUE(context_.stopped());
}

TEST_F(device_lister_with_scripts, goes_on_when_an_earlier_list_is_ended) {
    const input outcome = outcome_of(settings(), [](device_lister& lister) {
        lister.start({2, {}});
        lister.end(1);
    });
    ASSERT_TRUE(std::holds_alternative<list_arrived>(outcome));
    EXPECT_EQ(std::get<list_arrived>(outcome).list, 2u);
}

TEST_F(device_lister_with_scripts, says_once_that_a_list_has_ended_while_it_asked_for_properties) {
    write(std::string(ecid_a) + ".looked", "hang");
    write(std::string(ecid_b) + ".looked", "hang");
    std::vector<input> outcomes;
    std::size_t news = 0;
    device_lister lister(context_, settings(), [&](input what) {
        if (std::holds_alternative<list_continued>(what)) {
            ++news;
        } else {
            outcomes.push_back(std::move(what));
        }
    });
    lister.start({1, {}});
    while (news == 0) {
        context_.run_one();
    }
    lister.end(1);
    context_.run_for(std::chrono::minutes(1));
    ASSERT_EQ(outcomes.size(), 1u);
    ASSERT_TRUE(std::holds_alternative<list_not_had>(outcomes[0]));
    EXPECT_EQ(std::get<list_not_had>(outcomes[0]).why, list_failure::timed_out);
    EXPECT_EQ(news, 1u);
}

TEST_F(device_lister_with_scripts, is_not_disturbed_by_what_is_left_of_an_earlier_list) {
    write("list.1", "hang");
    const input outcome = outcome_of(settings(), [this](device_lister& lister) {
        lister.start({1, {}});
        while (!std::filesystem::exists(folder_ / "lists") ||
               std::filesystem::file_size(folder_ / "lists") == 0) {
            context_.run_one_for(std::chrono::milliseconds(5));
        }
        lister.end(1);
        // The first process has not gone yet.
        lister.start({2, {}});
    });
    ASSERT_TRUE(std::holds_alternative<list_arrived>(outcome));
    EXPECT_EQ(std::get<list_arrived>(outcome).list, 2u);
    EXPECT_EQ(std::get<list_arrived>(outcome).devices.size(), 2u);
}

TEST_F(device_lister_with_scripts, begins_again_though_it_still_asks_for_the_properties_of_a_list) {
    for (const std::string ecid : {ecid_a, ecid_b}) {
        write(ecid + ".looked", "hang");
    }
    int continued = 0;
    std::optional<input> outcome;
    device_lister lister(context_, settings(), [&](input what) {
        if (std::holds_alternative<list_continued>(what)) {
            ++continued;
        } else {
            outcome = std::move(what);
        }
    });
    lister.start({1, {}});
    while (continued == 0) {
        context_.run_one();
    }
    for (const std::string ecid : {ecid_a, ecid_b}) {
        std::filesystem::remove(folder_ / (ecid + ".looked"));
    }
    lister.start({2, {}});
    while (!outcome) {
        context_.run_one();
    }
    ASSERT_TRUE(std::holds_alternative<list_arrived>(*outcome));
    EXPECT_EQ(std::get<list_arrived>(*outcome).list, 2u);
    for (const listed_device& each : std::get<list_arrived>(*outcome).devices) {
        EXPECT_TRUE(each.properties) << each.ecid;
    }
}

TEST_F(device_lister_with_scripts, lists_devices_that_the_tool_cannot_be_started_for) {
    device_lister::settings how = settings();
    const std::filesystem::path tool = folder_ / "tool.exe";
    std::filesystem::copy_file(path_of(SCRIPTED_TOOL), tool);
    how.tool.program = text_of(tool);
    write("list.1", "write list rename tool.exe gone.exe");
    const input outcome = outcome_of(how, [](device_lister& lister) { lister.start({1, {}}); });
    ASSERT_TRUE(std::holds_alternative<list_arrived>(outcome));
    const auto& devices = std::get<list_arrived>(outcome).devices;
    EXPECT_THAT(devices, ElementsAre(Field(&listed_device::ecid, ecid_a),
                                     Field(&listed_device::ecid, ecid_b)));
    for (const listed_device& each : devices) {
        EXPECT_FALSE(each.properties) << each.ecid;
    }
}

} // namespace
} // namespace vandrel::station
