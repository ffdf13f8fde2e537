#include "station/run_output.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <memory>
#include <string>

namespace vandrel::station {

namespace {

constexpr std::chrono::seconds long_enough(60);

class one_run_output : public ::testing::Test {
protected:
    static run_settings settings_in(const vandrel::testing::temporary_folder& parent) {
        run_settings result;
        result.run_folder = std::filesystem::path(parent.path().string()) / "run";
        return result;
    }

    void device_ends(int number) {
        event what;
        what.device.emplace().ecid = std::to_string(number);
        what.body = device_ended{final_state::restored, end_reason::completed, 1, try_result{}};
        made.take(what);
    }

    std::string content_of(const std::string& name) const {
        std::ifstream file(settings.run_folder / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    const vandrel::testing::temporary_folder parent;
    const run_settings settings = settings_in(parent);
    run_output made{settings};
};

TEST_F(one_run_output, does_not_write_the_summary_anew_for_each_of_a_thousand_devices) {
    const auto go_on = std::make_shared<std::promise<void>>();
    made.folder()->keep(settings.run_folder / "missing", "nobody",
                        [waits = go_on->get_future().share()] { waits.wait(); });
    // The summaries in between would be more than the queue holds.
    for (int i = 0; i < 1000; ++i) {
        device_ends(i);
    }
    EXPECT_EQ(made.folder()->hole(), std::nullopt);
    go_on->set_value();
}

TEST_F(one_run_output, writes_the_summary_before_the_run_ends) {
    device_ends(4711);
    const auto until = std::chrono::steady_clock::now() + long_enough;
    while (content_of("summary.csv").find(",4711,") == std::string::npos &&
           std::chrono::steady_clock::now() < until) {
        made.refresh_summary();
    }
    EXPECT_NE(content_of("summary.csv").find(",4711,"), std::string::npos);
}

} // namespace

} // namespace vandrel::station
