#include "platform/native_process.h"
#include "simulator/core_foundation/accounting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <set>
#include <string>

namespace {

using counts = std::map<std::string, std::int64_t>;

void expect_equal_counts(counts after, counts before, const char* what) {
    std::set<std::string> names;
    for (const auto& counted : {before, after}) {
        for (const auto& [name, count] : counted) {
            names.insert(name);
        }
    }
    for (const std::string& name : names) {
        EXPECT_EQ(after[name], before[name]) << what << name;
    }
}

/// Fails every test that ends with more or fewer live CoreFoundation objects than it started with,
/// or with more or fewer references to a constant: one was leaked, or released once too often.
class leak_listener : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override {
        objects_before_ = simulator::live_objects();
        references_before_ = simulator::unbalanced_constants();
    }

    void OnTestEnd(const testing::TestInfo&) override {
        simulator::fail_creation(0);
        expect_equal_counts(simulator::live_objects(), objects_before_, "live objects of type ");
        expect_equal_counts(simulator::unbalanced_constants(), references_before_,
                            "references to the constant ");
    }

    counts objects_before_;
    counts references_before_;
};

} // namespace

int main(int argc, char** argv) {
    // Like the tool: paths are UTF-8.
    vandrel::prepare_process();
    testing::InitGoogleMock(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new leak_listener);
    return RUN_ALL_TESTS();
}
