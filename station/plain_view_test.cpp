#include "station/plain_view.h"
#include "station/text.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace vandrel::station {
namespace {

using std::chrono::seconds;

constexpr seconds two_fifty_eight_ten = seconds((2 * 60 + 58) * 60 + 10);

event_device at_slot(const std::string& slot) {
    event_device device;
    device.ecid = "000E77F88A99B00C";
    device.slot = slot;
    device.location_id = 0x14110000;
    return device;
}

event event_of(event_body body, const std::optional<event_device>& device = at_slot("A4")) {
    event what;
    what.device = device;
    what.body = std::move(body);
    return what;
}

device_ended failed_at_42_percent() {
    try_result last;
    last.reason = end_reason::device_error;
    last.error = error_details{"", 4005, ""};
    last.last_operation = operation_progress{13, "Restoring image", 42};
    return {final_state::failed, end_reason::device_error, 1, last};
}

std::string line(plain_view& view, event_body body) {
    return view.line_for(event_of(std::move(body)), two_fifty_eight_ten);
}

TEST(plain_view, has_time_place_ecid_word_and_what_happened) {
    plain_view view(true, command::restore);
    EXPECT_EQ(line(view, failed_at_42_percent()),
              "02:58:10 A4   000E77F88A99B00C FAILED    error 4005 in Restoring image at 42 %\n");
}

TEST(plain_view, has_the_number_of_several_tries) {
    plain_view view(true, command::restore);
    device_ended ended = failed_at_42_percent();
    ended.tries = 3;
    EXPECT_EQ(line(view, ended), "02:58:10 A4   000E77F88A99B00C FAILED    "
                                 "error 4005 in Restoring image at 42 %, after 3 tries\n");
}

TEST(plain_view, has_the_slots_of_devices_that_write_firmware) {
    plain_view view(true, command::restore);
    event_device other = at_slot("");
    other.ecid = "000A11B22C33D44E";
    EXPECT_EQ(view.line_for(event_of(cancel{2, {at_slot("A4"), other}}, {}), seconds(0)),
              "00:00:00 CANCEL    A4 000E77F88A99B00C, 0x14110000 000A11B22C33D44E write firmware "
              "and go on; press Ctrl-C within 10 seconds to end them too\n");
}

TEST(plain_view, has_location_numbers_without_slots) {
    plain_view view(false, command::restore);
    EXPECT_EQ(view.line_for(event_of(try_started{}, at_slot("")), seconds(0)),
              "00:00:00 0x14110000 000E77F88A99B00C started\n");
}

TEST(plain_view, has_a_line_for_each_operation_and_each_tenth_of_its_progress) {
    plain_view view(true, command::restore);
    EXPECT_NE(line(view, operation{{13, "Restoring image", 0}}), "");
    EXPECT_EQ(line(view, progress{{13, "Restoring image", 9}}), "");
    EXPECT_EQ(line(view, progress{{13, "Restoring image", 10}}),
              "02:58:10 A4   000E77F88A99B00C running   Restoring image at 10 %\n");
    EXPECT_EQ(line(view, progress{{13, "Restoring image", 19}}), "");
    EXPECT_NE(line(view, progress{{13, "Restoring image", 35}}), "");
    EXPECT_NE(line(view, operation{{14, "Verifying restore", 35}}), "");
    EXPECT_EQ(line(view, progress{{14, "Verifying restore", 36}}), "");
}

TEST(plain_view, shows_an_operation_without_a_name_by_its_number) {
    plain_view view(true, command::restore);
    EXPECT_EQ(line(view, operation{{999, "Unknown", 0}}),
              "02:58:10 A4   000E77F88A99B00C running   operation 999 at 0 %\n");
}

TEST(plain_view, says_of_a_device_that_was_not_restored_that_it_is_done) {
    const device_ended ended{final_state::restored, end_reason::completed, 1, {}};
    plain_view recovery(true, command::recover_exit);
    EXPECT_EQ(line(recovery, ended), "02:58:10 A4   000E77F88A99B00C done      complete\n");
    plain_view restore(true, command::restore);
    EXPECT_EQ(line(restore, ended), "02:58:10 A4   000E77F88A99B00C restored  complete\n");
}

TEST(plain_view, leaves_to_the_summary_what_that_says) {
    plain_view view(true, command::restore);
    EXPECT_EQ(view.line_for(event_of(run_ended{}, {}), seconds(0)), "");
    EXPECT_EQ(line(view, device_left_alone{end_reason::not_begun, {}}), "");
    EXPECT_NE(line(view, device_left_alone{end_reason::unfit, {}}), "");
}

TEST(zone, is_hours_and_minutes_from_utc) {
    EXPECT_EQ(zone_text(std::chrono::minutes(60)), "UTC+01:00");
    EXPECT_EQ(zone_text(std::chrono::minutes(-210)), "UTC-03:30");
}

listed_device phone(const std::string& slot, const std::string& ecid, const std::string& serial,
                    const std::string& model, const std::string& product) {
    device_properties properties;
    properties.chip_id = 0x8110;
    properties.board_id = 0x0c;
    properties.slot = slot;
    properties.serial_number = serial;
    properties.model = model;
    properties.product_string = product;
    return {ecid, properties};
}

bundle some_bundle() {
    bundle result;
    result.path = "some.ipsw";
    result.size = 6'900'000'000;
    result.unpacked_size = 8'400'000'000;
    result.version = "17.1";
    result.build = "21B80";
    result.models = {"iPhone14,2", "iPhone14,3"};
    result.identities = {{0x8110, 0x0c}};
    return result;
}

ask_consent erase_of_two() {
    ask_consent asked;
    asked.erase = true;
    asked.wanted = "2";
    asked.devices = {phone("A1", "0001A2B3C4D5E6F7", "F17Q2X9AHG7J", "iPhone14,2",
                           "Apple Mobile Device (Recovery Mode)"),
                     phone("A2", "000A11B22C33D44E", "C39", "", "Phone")};
    return asked;
}

TEST(question, shows_bundle_room_and_devices) {
    ask_consent asked = erase_of_two();
    asked.left_alone = {{phone("B4", "000C44D55E66F771", "C39ZK1AAPLJM", "iPad13,1", "Pad"),
                         {end_reason::unfit, {}}}};
    const question_facts facts{some_bundle(), "", "scratch", 212'000'000'000, 8};
    EXPECT_EQ(choice_text(asked, command::restore, facts),
              "2 devices will be ERASED. Everything on them is lost.\n"
              "\n"
              "  Bundle   some.ipsw\n"
              "           17.1 (21B80), 6.9 GB, for iPhone14,2 and iPhone14,3\n"
              "  Room     212.0 GB free in scratch, 8 at once need about 73.9 GB\n"
              "\n"
              "  SLOT  ECID              SERIAL        MODEL        NOW IN\n"
              "  A1    0001A2B3C4D5E6F7  F17Q2X9AHG7J  iPhone14,2   Recovery\n"
              "  A2    000A11B22C33D44E  C39           0x8110 0x0c  Phone\n"
              "1 device is left alone:\n"
              "  B4  000C44D55E66F771  C39ZK1AAPLJM  iPad13,1  the bundle is not for it\n");
    EXPECT_EQ(prompt_text(asked), "Type 2 to erase these 2 devices, or press Enter to stop: ");
}

TEST(question, has_dashes_for_what_is_not_known) {
    ask_consent asked = erase_of_two();
    asked.devices[0].properties.reset();
    bundle without_models = some_bundle();
    without_models.models.clear();
    const question_facts facts{without_models, "", "scratch", 212'000'000'000, 8};
    EXPECT_EQ(choice_text(asked, command::restore, facts),
              "2 devices will be ERASED. Everything on them is lost.\n"
              "\n"
              "  Bundle   some.ipsw\n"
              "           17.1 (21B80), 6.9 GB\n"
              "  Room     212.0 GB free in scratch, 8 at once need about 73.9 GB\n"
              "\n"
              "  SLOT  ECID              SERIAL  MODEL        NOW IN\n"
              "  -     0001A2B3C4D5E6F7  -       -            -\n"
              "  A2    000A11B22C33D44E  C39     0x8110 0x0c  Phone\n");
}

TEST(question, of_a_watch_says_what_happens_to_later_devices) {
    ask_consent asked = erase_of_two();
    asked.watch = true;
    asked.wanted = "ERASE";
    const std::string later =
        "Every chosen device that is attached later will be ERASED as well.\n";
    EXPECT_TRUE(
        choice_text(asked, command::restore, {})
            .starts_with("2 devices will be ERASED. Everything on them is lost.\n" + later));
    asked.devices.clear();
    EXPECT_TRUE(choice_text(asked, command::restore, {}).starts_with(later));
    EXPECT_EQ(prompt_text(asked), "Type ERASE to erase what is attached, or press Enter to stop: ");
}

TEST(question, without_an_erase_wants_a_letter) {
    ask_consent asked = erase_of_two();
    asked.erase = false;
    asked.wanted = "y";
    EXPECT_TRUE(choice_text(asked, command::restore, {})
                    .starts_with("2 devices will be restored. Data on them should stay.\n"));
    EXPECT_EQ(prompt_text(asked), "Type y to go on, or press Enter to stop: ");
}

TEST(question, about_one_device_speaks_of_it) {
    ask_consent asked = erase_of_two();
    asked.devices.pop_back();
    asked.wanted = "1";
    EXPECT_TRUE(choice_text(asked, command::restore, {})
                    .starts_with("1 device will be ERASED. Everything on it is lost.\n"));
    EXPECT_EQ(prompt_text(asked), "Type 1 to erase this device, or press Enter to stop: ");
}

TEST(question, about_recovery_says_how_devices_will_start) {
    EXPECT_TRUE(choice_text(erase_of_two(), command::recover_exit, {})
                    .starts_with("2 devices will leave Recovery mode.\n"));
    EXPECT_TRUE(choice_text(erase_of_two(), command::recover_stay, {})
                    .starts_with("2 devices will stay in Recovery mode.\n"));
}

TEST(question, has_the_file_of_options_and_all_that_are_left_alone) {
    ask_consent asked;
    asked.left_alone = {{{"000C44D55E66F771", {}}, {end_reason::unfit, {}}},
                        {{"000C44D55E66F772", {}}, {end_reason::unfit, {}}}};
    question_facts facts;
    facts.options_file = "my options.plist";
    EXPECT_EQ(choice_text(asked, command::restore, facts),
              "0 devices will be restored. Data on them should stay.\n"
              "\n"
              "  Options  my options.plist\n"
              "2 devices are left alone:\n"
              "  -  000C44D55E66F771  -  -  the bundle is not for it\n"
              "  -  000C44D55E66F772  -  -  the bundle is not for it\n");
}

bundle_list bundles_of(const std::vector<std::pair<std::string, std::string>>& versions) {
    bundle_list result;
    for (const auto& [version, build] : versions) {
        bundle each = some_bundle();
        each.path = version + " " + std::to_string(result.size()) + ".ipsw";
        each.version = version;
        each.build = build;
        result.push_back(std::make_shared<const bundle>(each));
    }
    return result;
}

TEST(question, about_a_folder_says_why_each_bundle_is_taken) {
    ask_consent asked = erase_of_two();
    asked.devices[0].bundles = bundles_of({{"17.1", "21B80"},
                                           {"17.1", "21B80"},
                                           {"17.0", "21A326"},
                                           {"16.6", "20G75"},
                                           {"16.5", "20F66"}});
    asked.devices[1].bundles = bundles_of({{"15.8", "19H370"}});
    asked.devices.push_back(asked.devices[1]);
    asked.devices[2].ecid = "000000000000000A";
    question_facts facts{{}, "", "scratch", 212'000'000'000, 2};
    facts.folder = "bundles";
    facts.unusable_files = 1;
    EXPECT_EQ(choice_text(asked, command::restore, facts),
              "3 devices will be ERASED. Everything on them is lost.\n"
              "\n"
              "  Bundles  bundles\n"
              "           1 file in it cannot be used: the command \"bundles\" says why\n"
              "           17.1 0.ipsw\n"
              "             17.1 (21B80), 6.9 GB, for 1 device\n"
              "             the newest of 5 that fit; not the same in 17.1 1.ipsw, 17.0 (21A326), "
              "16.6 (20G75) and 1 more\n"
              "           15.8 0.ipsw\n"
              "             15.8 (19H370), 6.9 GB, for 2 devices\n"
              "             the only one that fits\n"
              "  Room     212.0 GB free in scratch, 2 at once need about 18.5 GB\n"
              "\n"
              "  SLOT  ECID              SERIAL        MODEL        NOW IN    BUNDLE\n"
              "  A1    0001A2B3C4D5E6F7  F17Q2X9AHG7J  iPhone14,2   Recovery  17.1 (21B80)\n"
              "  A2    000A11B22C33D44E  C39           0x8110 0x0c  Phone     15.8 (19H370)\n"
              "  A2    000000000000000A  C39           0x8110 0x0c  Phone     15.8 (19H370)\n");
}

TEST(question, about_a_folder_counts_only_as_many_as_there_is_room_for) {
    ask_consent asked = erase_of_two();
    asked.devices[0].bundles = bundles_of({{"17.1", "21B80"}});
    asked.devices[1].bundles = asked.devices[0].bundles;
    question_facts facts{{}, "", "scratch", 12'000'000'000, 8};
    facts.folder = "bundles";
    const auto room = [&] {
        const std::string text = choice_text(asked, command::restore, facts);
        const std::size_t begin = text.find("  Room");
        return text.substr(begin, text.find('\n', begin) - begin);
    };
    EXPECT_EQ(room(), "  Room     12.0 GB free in scratch, 1 at once need about 9.2 GB");
    facts.room_limits_tools = false;
    EXPECT_EQ(room(), "  Room     12.0 GB free in scratch, 2 at once need about 18.5 GB");
}

TEST(device_table, without_devices_is_a_sentence) {
    EXPECT_EQ(device_table({}, bundle_column::none), "No device in Recovery mode or DFU.\n");
}

TEST(device_table, with_a_folder_has_the_newest_bundle_for_each_device) {
    std::vector<listed_device> devices = erase_of_two().devices;
    devices[0].properties->product_string = "Phone";
    devices[0].bundles = bundles_of({{"17.1", "21B80"}, {"17.0", "21A326"}});
    EXPECT_EQ(
        device_table(devices, bundle_column::newest),
        "  SLOT  ECID              SERIAL        CHIP    BOARD  DEVICE  MODEL       BUNDLE\n"
        "  A1    0001A2B3C4D5E6F7  F17Q2X9AHG7J  0x8110  0x0c   Phone   iPhone14,2  17.1 (21B80)\n"
        "  A2    000A11B22C33D44E  C39           0x8110  0x0c   Phone               none is for "
        "it\n");
}

TEST(device_table, has_columns_as_wide_as_their_texts) {
    const auto devices = erase_of_two().devices;
    EXPECT_EQ(device_table(devices, bundle_column::none),
              "  SLOT  ECID              SERIAL        CHIP    BOARD  DEVICE\n"
              "  A1    0001A2B3C4D5E6F7  F17Q2X9AHG7J  0x8110  0x0c   "
              "Apple Mobile Device (Recovery Mode)\n"
              "  A2    000A11B22C33D44E  C39           0x8110  0x0c   Phone\n");
}

TEST(device_table, with_a_bundle_has_models_and_whether_it_fits) {
    std::vector<listed_device> devices = erase_of_two().devices;
    devices[0].properties->product_string = "Phone";
    devices[0].bundles = {std::make_shared<const bundle>(some_bundle())};
    devices[1].properties->board_id = 0x0e;
    devices.push_back({"000000000000000A", {}});
    EXPECT_EQ(device_table(devices, bundle_column::fits),
              "  SLOT  ECID              SERIAL        CHIP    BOARD  DEVICE  MODEL       BUNDLE\n"
              "  A1    0001A2B3C4D5E6F7  F17Q2X9AHG7J  0x8110  0x0c   Phone   iPhone14,2  fits\n"
              "  A2    000A11B22C33D44E  C39           0x8110  0x0e   Phone               "
              "is not for it\n"
              "  -     000000000000000A  -             -       -      -                   "
              "is not for it\n");
}

TEST(device_table, counts_characters_and_not_bytes) {
    std::vector<listed_device> devices = erase_of_two().devices;
    devices[0].properties->slot = "\xD0\x96\xD0\x96\xD0\x96";
    EXPECT_NE(
        device_table(devices, bundle_column::none).find("\n  \xD0\x96\xD0\x96\xD0\x96   0001"),
        std::string::npos);
}

} // namespace
} // namespace vandrel::station
