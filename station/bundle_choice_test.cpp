#include "station/bundle_choice.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>

namespace vandrel::station {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr build_identity phone_board{0x8110, 0x0C};
constexpr build_identity other_board{0x8110, 0x0E};

std::shared_ptr<const bundle> made(const std::string& name, const std::string& build,
                                   std::vector<build_identity> identities = {phone_board},
                                   std::vector<std::string> models = {"iPhone14,2"}) {
    auto result = std::make_shared<bundle>();
    result->path = name;
    result->build = build;
    result->identities = std::move(identities);
    result->models = std::move(models);
    return result;
}

device_properties phone() {
    device_properties result;
    result.chip_id = phone_board.chip_id;
    result.board_id = phone_board.board_id;
    return result;
}

std::vector<std::string> names_of(const bundle_list& bundles) {
    std::vector<std::string> result;
    for (const auto& each : bundles) {
        result.push_back(each->path.string());
    }
    return result;
}

TEST(build, is_ordered_by_number_letters_number_and_suffix) {
    const std::vector<std::string> expected = {
        "",         "9A405",  "19A5297e", "19A346",   "19B74", "19H12",    "19H370",
        "20A5283p", "20A362", "20A8372",  "20Z1",     "20AA1", "21B5045h", "21B5056e",
        "21B80",    "21B80a", "21B91",    "21C5029g", "100A1"};
    std::vector<std::string> sorted = expected;
    std::ranges::shuffle(sorted, std::minstd_rand(1));
    std::ranges::sort(sorted, is_older_build);
    EXPECT_EQ(sorted, expected);
}

TEST(build, that_is_none_is_older_than_each) {
    for (const std::string none :
         {"", "19", "A346", "19A", "19A346 ", "19A346a1", "999999999999999999999A1"}) {
        EXPECT_TRUE(is_older_build(none, "1A1")) << none;
        EXPECT_FALSE(is_older_build(none, "")) << none;
    }
}

TEST(bundles, are_sorted_newest_first_and_the_same_build_by_name) {
    bundle_list bundles{made("b", "19H12"), made("c", "20A362"), made("a", "19H12"),
                        made("d", "19A346"), made("e", "unknown")};
    sort_newest_first(bundles);
    EXPECT_THAT(names_of(bundles), ElementsAre("c", "a", "b", "d", "e"));
}

TEST(bundles, for_a_device_have_its_chip_board_and_behavior) {
    const build_identity erase{0x8110, 0x0C, restore_behavior::erase};
    const build_identity update{0x8110, 0x0C, restore_behavior::update};
    const build_identity erase_of_other{0x8110, 0x0E, restore_behavior::erase};
    const bundle_list bundles{made("both", "4A1", {erase, update}),
                              made("mixed", "3A1", {erase_of_other, update}), made("silent", "2A1"),
                              made("other", "1A1", {other_board})};
    EXPECT_THAT(names_of(bundles_for(phone(), bundles)), ElementsAre("both", "mixed", "silent"));
    EXPECT_THAT(names_of(bundles_for(phone(), bundles, restore_behavior::erase)),
                ElementsAre("both", "silent"));
    EXPECT_THAT(names_of(bundles_for(phone(), bundles, restore_behavior::update)),
                ElementsAre("both", "mixed", "silent"));
    device_properties silent = phone();
    silent.chip_id = 0;
    EXPECT_THAT(bundles_for(silent, {made("none", "1A1", {{0, 0x0C}})}), IsEmpty());
}

TEST(model, is_the_one_that_all_bundles_for_the_device_have) {
    const auto pair = made("pair", "2A1", {phone_board, other_board}, {"iPhone14,2", "iPhone14,3"});
    const auto single = made("single", "1A1");
    const auto nameless = made("nameless", "3A1", {phone_board}, {});
    EXPECT_EQ(model_of(phone(), {pair}), "");
    EXPECT_EQ(model_of(phone(), {pair, single}), "iPhone14,2");
    EXPECT_EQ(model_of(phone(), {nameless, single}), "iPhone14,2");
    EXPECT_EQ(model_of(phone(), {nameless}), "");
    EXPECT_EQ(model_of(phone(), {single, made("odd", "1A1", {phone_board}, {"iPad1,1"})}), "");
    EXPECT_EQ(model_of(phone(), {made("other", "1A1", {other_board})}), "");
}

TEST(room, is_a_tenth_more_than_the_bundle_unpacked) {
    bundle some;
    some.unpacked_size = 10'000'000'000;
    EXPECT_EQ(room_for(some), 11'000'000'000U);
    some.unpacked_size = ~std::uint64_t{0};
    EXPECT_EQ(room_for(some), ~std::uint64_t{0});
}

} // namespace
} // namespace vandrel::station
