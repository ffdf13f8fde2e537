#include "station/test_bench_play.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

namespace vandrel::station {
namespace {

/// Each seed is a history; the fuzzer tries many more.
class bench_play : public testing::TestWithParam<unsigned> {};

TEST_P(bench_play, keeps_every_rule) {
    for (unsigned part = 0; part < 100; ++part) {
        std::mt19937 random(GetParam() * 100 + part);
        std::vector<std::uint8_t> bytes(1500);
        for (std::uint8_t& byte : bytes) {
            byte = static_cast<std::uint8_t>(random());
        }
        std::size_t checks = 0;
        play_bench(bytes, [&](bool holds, const char* rule) {
            ++checks;
            EXPECT_TRUE(holds) << rule << ", in history " << GetParam() * 100 + part;
        });
        EXPECT_GT(checks, 0u);
    }
}

INSTANTIATE_TEST_SUITE_P(over, bench_play, testing::Range(0u, 8u));

} // namespace
} // namespace vandrel::station
