#include "station/report_run.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

namespace vandrel::station {
namespace {

TEST(newest_run, is_the_last_by_name_that_has_a_summary) {
    const vandrel::testing::temporary_folder kept;
    const std::filesystem::path runs(kept.path().string());
    EXPECT_EQ(newest_run(runs / "none"), std::nullopt);
    EXPECT_EQ(newest_run(runs), std::nullopt);
    for (const char* name :
         {"20261121T080000000Z-9", "20261122T080000000Z-1", "20261122T070000000Z-5"}) {
        std::filesystem::create_directory(runs / name);
        std::ofstream(runs / name / "summary.json") << "{}";
    }
    std::filesystem::create_directory(runs / "20261123T080000000Z-1");
    std::ofstream(runs / "zzz") << "no folder";
    EXPECT_EQ(newest_run(runs), runs / "20261122T080000000Z-1");
}

} // namespace
} // namespace vandrel::station
