#include "platform/native_process.h"
#include "simulator/core_foundation/accounting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <set>
#include <string>

namespace {

/// Fails every test that ends with more or fewer live CoreFoundation objects than it started with:
/// one was leaked, or released once too often.
class leak_listener : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override { before_ = simulator::live_objects(); }

    void OnTestEnd(const testing::TestInfo&) override {
        simulator::fail_creation(0);
        auto after = simulator::live_objects();
        std::set<std::string> names;
        for (const auto& objects : {before_, after}) {
            for (const auto& [name, count] : objects) {
                names.insert(name);
            }
        }
        for (const std::string& name : names) {
            EXPECT_EQ(after[name], before_[name]) << "live objects of type " << name;
        }
    }

    std::map<std::string, std::int64_t> before_;
};

} // namespace

int main(int argc, char** argv) {
    // Like the tool: paths are UTF-8.
    vandrel::prepare_process();
    testing::InitGoogleMock(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new leak_listener);
    return RUN_ALL_TESTS();
}
