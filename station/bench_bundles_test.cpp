#include "station/test_bench.h"

#include <gmock/gmock.h>

namespace vandrel::station {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Unpacked it takes `size` bytes.
std::shared_ptr<const bundle> made(const std::string& build, const std::string& model,
                                   std::vector<build_identity> identities, std::uint64_t size = 0) {
    auto result = std::make_shared<bundle>();
    result->build = build;
    result->models = {model};
    result->identities = std::move(identities);
    result->unpacked_size = size;
    return result;
}

const build_identity phone{0x8110, 0x0C};
const build_identity pad{0x8110, 0x0E};

listed_device pad_device(const std::string& ecid) {
    listed_device device = fitting_device(ecid);
    device.properties->board_id = pad.board_id;
    return device;
}

bench_options with_folder(bundle_list bundles, bool is_watch = false) {
    bench_options options = is_watch ? watch() : all_devices();
    options.bundles = std::move(bundles);
    options.from_folder = true;
    return options;
}

std::vector<std::string> builds_of_tools(const bench_under_test& bench) {
    std::vector<std::string> result;
    for (const start_tool& each : bench.decided<start_tool>()) {
        result.push_back(each.with ? each.with->build : "none");
    }
    return result;
}

TEST(bench_bundles, of_a_folder_each_device_gets_the_first_that_fits) {
    bench_under_test bench(
        with_folder({made("3A1", "iPad13,1", {pad}), made("2A1", "iPhone14,2", {phone}),
                     made("1A1", "iPhone14,2", {phone, pad})}));
    bench.attached = {fitting_device(device_a), pad_device(device_b)};
    bench.turn();
    EXPECT_THAT(builds_of_tools(bench), ElementsAre("2A1", "3A1"));
    EXPECT_EQ(bench.logged<try_started>(device_b)[0].with->build, "3A1");
    EXPECT_EQ(bench.logged<device_found>(device_a)[0].properties->model, "iPhone14,2");
}

TEST(bench_bundles, of_a_folder_are_for_what_the_run_does) {
    const bundle_list bundles{
        made("2A1", "", {{0x8110, 0x0C, restore_behavior::update}}),
        made("1A1", "", {{0x8110, 0x0C, restore_behavior::erase}}),
    };
    for (const bool erase : {true, false}) {
        bench_options options = with_folder(bundles);
        options.erase = erase;
        bench_under_test bench(options);
        bench.attach(device_a);
        bench.turn();
        EXPECT_THAT(builds_of_tools(bench), ElementsAre(erase ? "1A1" : "2A1"));
    }
}

TEST(bench_bundles, that_was_named_may_be_for_anything) {
    bench_options options = all_devices();
    options.bundles = {made("1A1", "", {{0x8110, 0x0C, restore_behavior::update}})};
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.turn();
    EXPECT_THAT(builds_of_tools(bench), ElementsAre("none"));
}

TEST(bench_bundles, without_one_for_it_a_device_is_left_alone) {
    bench_under_test bench(with_folder({made("1A1", "", {phone})}));
    bench.attached = {fitting_device(device_a), pad_device(device_b)};
    bench.turn();
    EXPECT_THAT(bench.started(), ElementsAre(device_a));
    EXPECT_EQ(bench.reason(device_b), end_reason::no_bundle);
}

TEST(bench_bundles, without_one_for_a_named_device_the_run_is_refused) {
    bench_options options = with_folder({made("1A1", "", {phone})});
    options.all = false;
    options.ecids = {device_a, device_b};
    bench_under_test bench(options);
    bench.attached = {fitting_device(device_a), pad_device(device_b)};
    bench.turn();
    EXPECT_THAT(bench.started(), IsEmpty());
    EXPECT_EQ(bench.exit_status(), 3);
}

TEST(bench_bundles, for_the_question_are_all_that_fit) {
    bench_options options =
        with_folder({made("3A1", "", {phone}), made("2A1", "", {pad}), made("1A1", "", {phone})});
    options.dry_run = true;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.turn();
    const auto shown = bench.decided<show_choice>().at(0).devices.at(0).bundles;
    ASSERT_EQ(shown.size(), 2u);
    EXPECT_EQ(shown[0]->build, "3A1");
    EXPECT_EQ(shown[1]->build, "1A1");
}

TEST(bench_bundles, that_come_in_a_watch_are_for_devices_that_come_later) {
    const auto old = made("1A1", "", {phone});
    bench_options options = with_folder({old}, true);
    options.at_once = 1;
    options.retries = 1;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.attach(device_b);
    bench.turn();
    bench.turn({bundles_read{{made("2A1", "", {phone}), old}}});
    bench.attach(device_c);
    bench.pass(options.poll);
    bench.restores(device_a);
    bench.pass(1s);
    bench.restores(device_b);
    bench.pass(1s);
    // The second was found before.
    EXPECT_THAT(builds_of_tools(bench), ElementsAre("1A1", "1A1", "2A1"));
}

TEST(bench_bundles, of_a_device_are_the_same_in_each_try) {
    bench_options options = with_folder({made("1A1", "", {phone})}, true);
    options.retries = 1;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.turn();
    bench.turn({bundles_read{{made("2A1", "", {phone})}}});
    bench.fails(device_a);
    bench.pass(5min);
    EXPECT_THAT(builds_of_tools(bench), ElementsAre("1A1", "1A1"));
}

TEST(bench_bundles, that_come_in_a_watch_are_for_a_device_that_had_none) {
    bench_options options = with_folder({}, true);
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.turn();
    EXPECT_EQ(bench.logged<device_left_alone>(device_a).at(0).reason, end_reason::no_bundle);
    bench.turn({bundles_read{{made("1A1", "iPhone14,2", {phone})}}});
    bench.pass(options.poll + 1s);
    EXPECT_THAT(builds_of_tools(bench), ElementsAre("1A1"));
    EXPECT_EQ(bench.logged<device_left_alone>(device_a).size(), 1u);
}

TEST(bench_bundles, that_come_in_a_watch_name_the_model_of_a_known_device) {
    bench_options options = with_folder({}, true);
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.turn();
    bench.turn({bundles_read{{made("1A1", "iPhone14,2", {phone})}}});
    bench.detach(device_a);
    bench.pass(3min);
    // Its properties are not asked for again.
    bench.attached = {{device_a, {}}};
    bench.pass(options.poll + 1s);
    const auto found = bench.logged<device_found>(device_a);
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[1].properties->model, "iPhone14,2");
}

TEST(bench_room, is_what_all_that_run_need_together) {
    bench_options options =
        with_folder({made("2A1", "", {phone}, 100), made("1A1", "", {pad}, 40)});
    options.room = 199;
    bench_under_test bench(options);
    bench.attached = {fitting_device(device_a), pad_device(device_b), fitting_device(device_c),
                      pad_device(device_d)};
    bench.turn();
    // 110 and 44; the third, which comes before the fourth, needs 110 again.
    EXPECT_THAT(bench.started(), ElementsAre(device_a, device_b));
    bench.restores(device_a);
    bench.turn();
    EXPECT_THAT(bench.started(), ElementsAre(device_a, device_b, device_c, device_d));
}

TEST(bench_room, is_the_users_matter_when_he_says_how_many_run) {
    bench_options options = with_folder({made("2A1", "", {phone}, 100)});
    options.room = 110;
    options.room_limits_tools = false;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.attach(device_b);
    bench.turn();
    EXPECT_THAT(bench.started(), ElementsAre(device_a, device_b));
}

TEST(bench_room, that_a_bundle_alone_does_not_find_leaves_its_device_alone) {
    bench_options options =
        with_folder({made("2A1", "", {phone}, 100), made("1A1", "", {pad}, 40)});
    options.room = 109;
    bench_under_test bench(options);
    bench.attached = {fitting_device(device_a), pad_device(device_b)};
    bench.turn();
    EXPECT_THAT(bench.started(), ElementsAre(device_b));
    EXPECT_EQ(bench.reason(device_a), end_reason::no_room);
    bench.restores(device_b);
    EXPECT_EQ(bench.exit_status(), 0);
}

TEST(bench_room, that_no_device_finds_is_status_4) {
    bench_options options = with_folder({made("2A1", "", {phone}, 100)});
    options.room = 109;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.turn();
    EXPECT_EQ(bench.exit_status(), 4);
}

} // namespace
} // namespace vandrel::station
