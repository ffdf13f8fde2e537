#include "station/choice.h"
#include "station/test_bench.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vandrel::station {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

listed_device unfit_device(const std::string& ecid) {
    listed_device device = fitting_device(ecid);
    device.properties->board_id = 0x0E;
    return device;
}

bench_options named(std::set<std::string> ecids) {
    bench_options options = all_devices();
    options.all = false;
    options.ecids = std::move(ecids);
    return options;
}

bench_options only(std::set<std::string> entries) {
    bench_options options = all_devices();
    options.all = false;
    options.only = std::move(entries);
    return options;
}

bench_options on_a_terminal() {
    bench_options options = all_devices();
    options.yes = false;
    options.terminal = true;
    return options;
}

TEST(bench_choice, all_is_every_listed_device_that_fits) {
    bench_under_test bench(all_devices());
    bench.attach(device_b);
    bench.attach(device_a);
    bench.turn();
    EXPECT_THAT(bench.started(), ElementsAre(device_a, device_b));
}

TEST(bench_choice, an_ecid_chooses_its_device_only) {
    bench_under_test bench(named({device_b}));
    bench.attach(device_a);
    bench.attach(device_b);
    bench.turn();
    EXPECT_THAT(bench.started(), ElementsAre(device_b));
    EXPECT_EQ(bench.totals().chosen, 1u);
}

TEST(bench_choice, a_list_in_lower_case_is_the_same) {
    bench_under_test bench(named({device_a}));
    bench.attached = {fitting_device(device_a)};
    bench.attached[0].ecid = "aa";
    bench.turn();
    EXPECT_THAT(bench.started(), ElementsAre(device_a));
}

TEST(bench_choice, a_file_chooses_by_ecid_and_by_serial_number) {
    bench_under_test bench(only({"0x00000000000000aa", "SERIALCC"}));
    for (const std::string& ecid : {device_a, device_b, device_c}) {
        bench.attach(ecid);
    }
    bench.turn();
    EXPECT_THAT(bench.started(), ElementsAre(device_a, device_c));
}

TEST(bench_choice, fewer_digits_in_a_file_are_no_ecid) {
    bench_under_test bench(only({"AA"}));
    bench.attach(device_a);
    bench.turn();
    EXPECT_THAT(bench.started(), IsEmpty());
    EXPECT_EQ(bench.exit_status(), 3);
}

TEST(bench_choice, a_device_without_serial_number_is_not_that_of_an_empty_entry) {
    bench_under_test bench(only({""}));
    bench.attach(device_a);
    bench.attached[0].properties->serial_number.clear();
    bench.turn();
    EXPECT_THAT(bench.started(), IsEmpty());
}

TEST(bench_choice, choices_add_up_and_a_device_is_taken_once) {
    bench_options options = named({device_a});
    options.only = {device_a, "SERIALBB"};
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.attach(device_b);
    bench.turn();
    EXPECT_THAT(bench.started(), ElementsAre(device_a, device_b));
}

TEST(bench_choice, an_unfit_device_is_left_alone_with_all_and_in_a_file) {
    for (bench_options options : {all_devices(), only({device_a, device_b})}) {
        bench_under_test bench(options);
        bench.attached = {unfit_device(device_a), fitting_device(device_b)};
        bench.turn();
        EXPECT_THAT(bench.started(), ElementsAre(device_b));
        EXPECT_EQ(bench.state(device_a), final_state::left_alone);
        EXPECT_EQ(bench.reason(device_a), end_reason::unfit);
    }
}

TEST(bench_choice, a_device_without_properties_is_unfit) {
    bench_under_test bench(all_devices());
    bench.attached = {{device_a, {}}, fitting_device(device_b)};
    bench.turn();
    EXPECT_THAT(bench.started(), ElementsAre(device_b));
    EXPECT_EQ(bench.reason(device_a), end_reason::unfit);
}

TEST(bench_choice, an_unfit_device_named_by_its_ecid_refuses_the_whole_run) {
    bench_under_test bench(named({device_a, device_b}));
    bench.attached = {unfit_device(device_a), fitting_device(device_b)};
    bench.turn();
    EXPECT_THAT(bench.started(), IsEmpty());
    EXPECT_EQ(bench.exit_status(), 3);
    EXPECT_EQ(bench.reason(device_b), end_reason::not_begun);
}

TEST(bench_choice, any_bundle_takes_an_unfit_device_named_by_its_ecid) {
    bench_options options = named({device_a});
    options.any_bundle = true;
    bench_under_test bench(options);
    bench.attached = {unfit_device(device_a)};
    bench.turn();
    EXPECT_THAT(bench.started(), ElementsAre(device_a));
}

TEST(bench_choice, any_bundle_takes_no_device_that_is_not_named_by_its_ecid) {
    bench_options options = all_devices();
    options.ecids = {device_b};
    options.only = {device_c};
    options.any_bundle = true;
    bench_under_test bench(options);
    bench.attached = {unfit_device(device_a), unfit_device(device_b), unfit_device(device_c)};
    bench.turn();
    EXPECT_THAT(bench.started(), ElementsAre(device_b));
}

TEST(bench_choice, without_a_bundle_every_device_fits) {
    bench_options options = all_devices();
    options.what = command::recover_exit;
    options.erase = false;
    options.bundles.reset();
    bench_under_test bench(options);
    bench.attached = {{device_a, {}}};
    bench.turn();
    EXPECT_THAT(bench.started(), ElementsAre(device_a));
}

TEST(bench_choice, named_devices_that_are_not_there_are_missing) {
    bench_options options = named({device_a, device_b});
    options.only = {"SERIALZZ", "00000000000000CC"};
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.turn();
    EXPECT_EQ(bench.state(device_b), final_state::missing);
    EXPECT_EQ(bench.state(device_c), final_state::missing);
    EXPECT_EQ(bench.totals().missing, 3u);
    std::vector<std::string> serial_numbers;
    for (const event& one : bench.events()) {
        if (std::holds_alternative<device_ended>(one.body) && one.device->ecid.empty()) {
            serial_numbers.push_back(one.device->serial_number);
        }
    }
    EXPECT_THAT(serial_numbers, ElementsAre("SERIALZZ"));
    bench.restores(device_a);
    EXPECT_EQ(bench.exit_status(), 1);
}

TEST(bench_choice, no_device_is_status_3) {
    bench_under_test none(all_devices());
    none.turn();
    EXPECT_EQ(none.exit_status(), 3);
    bench_under_test unfit(all_devices());
    unfit.attached = {unfit_device(device_a)};
    unfit.turn();
    EXPECT_EQ(unfit.exit_status(), 3);
    bench_under_test missing(named({device_a}));
    missing.attach(device_b);
    missing.turn();
    EXPECT_EQ(missing.exit_status(), 3);
    bench_under_test held(all_devices());
    held.attach(device_a);
    held.held = {device_a};
    held.turn();
    EXPECT_EQ(held.exit_status(), 3);
}

TEST(bench_choice, a_device_that_another_station_holds_is_left_alone_with_its_process_number) {
    bench_under_test bench(all_devices());
    bench.attach(device_a);
    bench.attach(device_b);
    bench.held = {device_a};
    bench.turn();
    EXPECT_THAT(bench.started(), ElementsAre(device_b));
    ASSERT_EQ(bench.logged<device_left_alone>(device_a).size(), 1u);
    EXPECT_EQ(bench.logged<device_left_alone>(device_a)[0].reason, end_reason::held);
    EXPECT_EQ(bench.logged<device_left_alone>(device_a)[0].holder, 4711);
}

TEST(bench_choice, a_lock_is_held_from_the_choice_to_the_devices_end) {
    bench_under_test bench(all_devices());
    bench.attach(device_a);
    bench.attach(device_b);
    bench.turn();
    ASSERT_EQ(bench.decided<lock_device>().size(), 2u);
    EXPECT_THAT(bench.decided<unlock_device>(), IsEmpty());
    bench.restores(device_a);
    ASSERT_EQ(bench.decided<unlock_device>().size(), 1u);
    EXPECT_EQ(bench.decided<unlock_device>()[0].ecid, device_a);
}

TEST(bench_choice, no_tool_is_started_before_all_locks_are_answered) {
    bench rules(all_devices());
    const std::vector<decision> first = rules.turn(0ms, {});
    const list_id list = std::get<start_list>(first.back()).list;
    const std::vector<input> listed{
        list_arrived{list, {fitting_device(device_a), fitting_device(device_b)}}};
    rules.turn(0ms, listed);
    const std::vector<input> one{lock_obtained{device_a}};
    EXPECT_THAT(rules.turn(0ms, one), IsEmpty());
    const std::vector<input> other{lock_obtained{device_b}};
    EXPECT_FALSE(rules.turn(0ms, other).empty());
}

TEST(bench_consent, an_erase_without_terminal_and_without_yes_is_refused_before_the_list) {
    bench_options options = all_devices();
    options.yes = false;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.turn();
    EXPECT_EQ(bench.exit_status(), 2);
    EXPECT_THAT(bench.decided<start_list>(), IsEmpty());
    EXPECT_THAT(bench.started(), IsEmpty());
}

TEST(bench_consent, an_update_without_terminal_needs_none) {
    bench_options options = all_devices();
    options.yes = false;
    options.erase = false;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.turn();
    EXPECT_THAT(bench.started(), ElementsAre(device_a));
}

TEST(bench_consent, yes_is_not_asked) {
    bench_options options = on_a_terminal();
    options.yes = true;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.turn();
    EXPECT_THAT(bench.decided<ask_consent>(), IsEmpty());
    EXPECT_THAT(bench.started(), ElementsAre(device_a));
}

TEST(bench_consent, the_question_names_those_to_be_erased_and_those_left_alone) {
    bench_under_test bench(on_a_terminal());
    bench.attach(device_a);
    bench.attach(device_b);
    bench.attached.push_back(unfit_device(device_c));
    bench.attach(device_d);
    bench.held = {device_d};
    bench.turn();
    ASSERT_EQ(bench.decided<ask_consent>().size(), 1u);
    const ask_consent asked = bench.decided<ask_consent>()[0];
    EXPECT_TRUE(asked.erase);
    EXPECT_THAT(asked.devices, ElementsAre(fitting_device(device_a), fitting_device(device_b)));
    ASSERT_EQ(asked.left_alone.size(), 2u);
    EXPECT_EQ(asked.left_alone[0].device.ecid, device_c);
    EXPECT_EQ(asked.left_alone[0].why.reason, end_reason::unfit);
    EXPECT_EQ(asked.left_alone[1].device.ecid, device_d);
    EXPECT_EQ(asked.left_alone[1].why.holder, 4711);
    EXPECT_EQ(asked.wanted, "2");
    EXPECT_THAT(bench.started(), IsEmpty());
}

TEST(bench_consent, the_number_of_devices_begins_an_erase) {
    bench_under_test bench(on_a_terminal());
    bench.attach(device_a);
    bench.attach(device_b);
    bench.turn();
    bench.turn({consent_answer{" 2\r\n"}});
    EXPECT_THAT(bench.started(), ElementsAre(device_a, device_b));
}

TEST(bench_consent, anything_else_and_the_end_of_the_file_touch_nothing) {
    for (const std::optional<std::string>& line :
         {std::optional<std::string>("1"), std::optional<std::string>(""),
          std::optional<std::string>("y"), std::optional<std::string>("ERASE"),
          std::optional<std::string>("22"), std::optional<std::string>("2 2"),
          std::optional<std::string>("  "), std::optional<std::string>()}) {
        bench_under_test bench(on_a_terminal());
        bench.attach(device_a);
        bench.attach(device_b);
        bench.turn();
        bench.turn({consent_answer{line}});
        EXPECT_THAT(bench.started(), IsEmpty()) << line.value_or("end of file");
        EXPECT_EQ(bench.exit_status(), 2);
        EXPECT_EQ(bench.decided<unlock_device>().size(), 2u);
    }
}

TEST(bench_consent, a_watch_asks_for_the_word_in_capitals) {
    for (const auto& [typed, tools] :
         {std::pair("ERASE", 1u), std::pair("erase", 0u), std::pair("1", 0u)}) {
        bench_options options = on_a_terminal();
        options.watch = true;
        bench_under_test bench(options);
        bench.attach(device_a);
        bench.turn();
        bench.turn({consent_answer{typed}});
        EXPECT_EQ(bench.started().size(), tools) << typed;
    }
}

TEST(bench_consent, an_update_asks_for_a_y) {
    for (const auto& [typed, tools] : {std::pair("y", 1u), std::pair("1", 0u), std::pair("", 0u)}) {
        bench_options options = on_a_terminal();
        options.erase = false;
        bench_under_test bench(options);
        bench.attach(device_a);
        bench.turn();
        bench.turn({consent_answer{typed}});
        EXPECT_EQ(bench.started().size(), tools) << typed;
    }
}

TEST(bench_consent, an_answer_to_no_question_begins_nothing) {
    bench_under_test bench(on_a_terminal());
    bench.lists_are_answered = false;
    bench.attach(device_a);
    bench.turn({consent_answer{"1"}});
    bench.turn({consent_answer{"1"}});
    EXPECT_THAT(bench.started(), IsEmpty());
    EXPECT_FALSE(bench.over());
}

TEST(bench_consent, only_the_devices_of_the_question_are_begun) {
    bench_options options = on_a_terminal();
    options.at_once = 1;
    options.retries = 1;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.turn();
    bench.attach(device_b);
    bench.turn({consent_answer{"1"}});
    bench.fails(device_a);
    bench.pass(2min);
    EXPECT_THAT(bench.started(), ElementsAre(device_a, device_a));
    EXPECT_EQ(bench.totals().chosen, 1u);
}

TEST(bench_consent, expect_refuses_another_number_of_devices) {
    for (const std::size_t expected : {0u, 1u, 3u}) {
        bench_options options = all_devices();
        options.expect = expected;
        bench_under_test bench(options);
        bench.attach(device_a);
        bench.attach(device_b);
        bench.attached.push_back(unfit_device(device_c));
        bench.turn();
        EXPECT_EQ(bench.exit_status(), 2) << expected;
        EXPECT_THAT(bench.started(), IsEmpty());
    }
    bench_options options = all_devices();
    options.expect = 2;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.attach(device_b);
    bench.turn();
    EXPECT_EQ(bench.started().size(), 2u);
}

TEST(bench_consent, expect_without_any_device_is_status_2_rather_than_3) {
    bench_options options = all_devices();
    options.expect = 2;
    bench_under_test bench(options);
    bench.turn();
    EXPECT_EQ(bench.exit_status(), 2);
}

TEST(bench_consent, a_dry_run_without_a_device_is_status_3) {
    for (const bool watched : {false, true}) {
        bench_options options = watched ? watch() : all_devices();
        options.dry_run = true;
        bench_under_test bench(options);
        bench.turn();
        EXPECT_EQ(bench.exit_status(), 3);
    }
}

TEST(bench_consent, a_dry_run_shows_and_ends) {
    bench_options options = all_devices();
    options.yes = false;
    options.dry_run = true;
    bench_under_test bench(options);
    bench.attach(device_a);
    bench.turn();
    ASSERT_EQ(bench.decided<show_choice>().size(), 1u);
    EXPECT_THAT(bench.decided<show_choice>()[0].devices, ElementsAre(fitting_device(device_a)));
    EXPECT_THAT(bench.started(), IsEmpty());
    EXPECT_EQ(bench.exit_status(), 0);
    EXPECT_EQ(bench.reason(device_a), end_reason::not_begun);
}

} // namespace
} // namespace vandrel::station
