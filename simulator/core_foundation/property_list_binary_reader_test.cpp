#include "simulator/core_foundation/accounting.h"
#include "simulator/core_foundation/test_objects.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace simulator::test;
using namespace std::string_literals;

std::string big_endian(std::uint64_t value, int size) {
    std::string result;
    for (int shift = 8 * (size - 1); shift >= 0; shift -= 8) {
        result += static_cast<char>(value >> shift);
    }
    return result;
}

/// A file of objects that are given byte for byte, with references of `reference_size` bytes.
struct binary_file {
    std::vector<std::string> objects;
    std::uint64_t top = 0;
    int reference_size = 1;

    std::string bytes() const {
        std::string result = "bplist00";
        std::string offsets;
        for (const std::string& object : objects) {
            offsets += big_endian(result.size(), 4);
            result += object;
        }
        const std::size_t table = result.size();
        return result + offsets + "\0\0\0\0\0\0\4"s +
               big_endian(static_cast<std::uint64_t>(reference_size), 1) +
               big_endian(objects.size(), 8) + big_endian(top, 8) + big_endian(table, 8);
    }
};

handle<CFPropertyListRef> read_bytes(const std::string& bytes, CFErrorRef* error = nullptr) {
    return handle<CFPropertyListRef>(CFPropertyListCreateWithData(
        kCFAllocatorDefault, make_data(bytes).get(), kCFPropertyListImmutable, nullptr, error));
}

handle<CFPropertyListRef> read(const std::vector<std::string>& objects) {
    return read_bytes(binary_file{objects}.bytes());
}

std::string description(const std::vector<std::string>& objects) {
    const auto value = read(objects);
    return value ? content_of(value.get()) : "(nothing)";
}

std::string refusal_of(const std::string& bytes) {
    CFErrorRef error = nullptr;
    const auto value = read_bytes(bytes, &error);
    const handle<CFErrorRef> owned_error(error);
    if (value || !owned_error) {
        return "(not refused)";
    }
    return text_of(handle<CFStringRef>(CFErrorCopyDescription(error)).get());
}

std::string refusal(const std::vector<std::string>& objects) {
    return refusal_of(binary_file{objects}.bytes());
}

/// The document of the array ("a", true), every byte written out.
const std::string small_file = "bplist00"
                               "\xA2\x01\x02"
                               "\x51"
                               "a"
                               "\x09"
                               "\x08\x0B\x0D"
                               "\0\0\0\0\0\0\1\1"
                               "\0\0\0\0\0\0\0\3"
                               "\0\0\0\0\0\0\0\0"
                               "\0\0\0\0\0\0\0\x0E"s;

/// `depth` arrays inside each other.
std::vector<std::string> nested_arrays(int depth) {
    std::vector<std::string> objects;
    for (int i = 1; i < depth; ++i) {
        objects.push_back("\xA1" + big_endian(static_cast<std::uint64_t>(i), 2));
    }
    objects.emplace_back("\xA0");
    return objects;
}

TEST(property_list_binary_reader, a_file_becomes_its_value) {
    const auto value = read_bytes(small_file);
    ASSERT_TRUE(value);
    EXPECT_TRUE(CFEqual(value.get(), make_array({CFSTR("a"), kCFBooleanTrue}).get()));
}

TEST(property_list_binary_reader, the_format_is_returned) {
    CFPropertyListFormat format = 0;
    const handle<CFPropertyListRef> value(
        CFPropertyListCreateWithData(kCFAllocatorDefault, make_data(small_file).get(),
                                     kCFPropertyListImmutable, &format, nullptr));
    ASSERT_TRUE(value);
    EXPECT_EQ(format, 200);
}

TEST(property_list_binary_reader, booleans_are_the_two_constants) {
    EXPECT_EQ(read({"\x08"}).get(), kCFBooleanFalse);
    EXPECT_EQ(read({"\x09"}).get(), kCFBooleanTrue);
}

TEST(property_list_binary_reader, short_integers_are_unsigned_and_long_ones_signed) {
    EXPECT_EQ(description({"\x10\xFF"}), "255");
    EXPECT_EQ(description({"\x11\xFF\xFE"}), "65534");
    EXPECT_EQ(description({"\x12\xFF\xFF\xFF\xFF"}), "4294967295");
    EXPECT_EQ(description({"\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFE"}), "-2");
    EXPECT_EQ(description({"\x13\x80\0\0\0\0\0\0\0"s}), "-9223372036854775808");
}

TEST(property_list_binary_reader, of_integers_of_sixteen_bytes_the_low_half_counts_unsigned) {
    EXPECT_EQ(description({"\x14\0\0\0\0\0\0\0\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s}),
              "18446744073709551615");
    EXPECT_EQ(description({"\x14\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\7"s}), "7");
    EXPECT_EQ(description({"\x14\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"
                           "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xF9"}),
              "18446744073709551609");
    EXPECT_EQ(description({"\x14\0\0\0\0\0\0\0\1\0\0\0\0\0\0\0\5"s}), "5");
    EXPECT_EQ(description({"\x14\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\0\0\0\0\0\0\0\0"s}), "0");
}

TEST(property_list_binary_reader, reals_are_of_either_precision) {
    EXPECT_EQ(description({"\x22\x3F\x40\0\0"s}), "0.75");
    EXPECT_EQ(description({"\x23\x3F\xB9\x99\x99\x99\x99\x99\x9A"}), "0.10000000000000001");
}

TEST(property_list_binary_reader, dates_are_seconds) {
    EXPECT_EQ(description({"\x33\x40\xF5\x18\0\0\0\0\0"s}), "2001-01-02T00:00:00Z");
}

TEST(property_list_binary_reader, data_is_read) {
    EXPECT_TRUE(CFEqual(read({"\x43\1\0\2"s}).get(), make_data("\1\0\2"s).get()));
}

TEST(property_list_binary_reader, strings_are_ascii_or_utf16) {
    EXPECT_EQ(description({"\x53one"}), "one");
    EXPECT_EQ(description({"\x50"}), "");
    EXPECT_EQ(description({"\x64\0a\x20\xAC\xD8\x3D\xDC\xF1"s}), "a\xE2\x82\xAC\xF0\x9F\x93\xB1");
}

TEST(property_list_binary_reader, bytes_that_are_not_ascii_are_latin_1) {
    EXPECT_EQ(description({"\x53\x80\xE4\xFF"}), "\xC2\x80\xC3\xA4\xC3\xBF");
}

/// How many UTF-16 units a string has, and its text as far as UTF-8 has one.
std::string units_and_text(const std::vector<std::string>& objects) {
    const auto value = read(objects);
    const auto* const string = static_cast<CFStringRef>(value.get());
    return std::to_string(CFStringGetLength(string)) + " " + text_of(string);
}

TEST(property_list_binary_reader, unpaired_surrogates_make_a_string_without_utf8) {
    EXPECT_EQ(units_and_text({"\x62\0a\xD8\x3D"s}), "2 (no text)");
    EXPECT_EQ(units_and_text({"\x62\xD8\x3D\0a"s}), "2 (no text)");
    EXPECT_EQ(units_and_text({"\x62\xDC\xF1\xD8\x3D"}), "2 (no text)");
    EXPECT_EQ(units_and_text({"\x63\xD8\x3D\xD8\x3D\xDC\xF1"}), "3 (no text)");
    EXPECT_EQ(units_and_text({"\x62\xD8\x3D\xDC\xF1"}), "2 \xF0\x9F\x93\xB1");
}

TEST(property_list_binary_reader, null_sets_and_unique_ids_are_read) {
    EXPECT_EQ(read({"\0"s}).get(), kCFNull);
    const auto set = read({"\xC2\1\2", "\x10\1", "\x51k"});
    ASSERT_TRUE(set);
    EXPECT_TRUE(CFEqual(set.get(), make_set({make_number(1).get(), CFSTR("k")}).get()));
    EXPECT_EQ(description({"\x80\5"}), "<CFKeyedArchiverUID 5>");
    EXPECT_EQ(description({"\x83\xFF\xFF\xFF\xFF"}), "<CFKeyedArchiverUID 4294967295>");
    EXPECT_EQ(description({"\x87\0\0\0\0\0\0\0\6"s}), "<CFKeyedArchiverUID 6>");
}

TEST(property_list_binary_reader, unique_ids_have_32_bits) {
    const std::string too_large = "binary property list: unique id beyond 32 bits";
    EXPECT_EQ(refusal({"\x84\1\0\0\0\0"s}), too_large);
    EXPECT_EQ(refusal({"\x8F" + std::string(16, '\0')}), too_large);
}

TEST(property_list_binary_reader, a_set_that_holds_itself_is_refused) {
    EXPECT_EQ(refusal({"\xC1\0"s}), "binary property list: container inside itself");
}

TEST(property_list_binary_reader, counts_from_fifteen_on_stand_in_an_integer) {
    EXPECT_EQ(description({"\x5F\x10\x0F" + std::string(15, 'a')}), std::string(15, 'a'));
    EXPECT_EQ(description({"\x5F\x11\x01\0"s + std::string(256, 'a')}), std::string(256, 'a'));
}

TEST(property_list_binary_reader, broken_counts_are_refused) {
    const std::string too_long = "binary property list: object runs past the end of the objects";
    EXPECT_EQ(refusal({"\x52"
                       "a"}),
              too_long);
    EXPECT_EQ(refusal({"\x5F"}), too_long);
    EXPECT_EQ(refusal({"\x5F\x20"}), "binary property list: bad count");
    EXPECT_EQ(refusal({"\x5F\x14" + std::string(16, '\0')}), "binary property list: bad count");
    for (const char* marker : {"\x4F", "\x5F", "\x6F", "\xAF", "\xDF"}) {
        EXPECT_EQ(refusal({marker + "\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s}), too_long);
        EXPECT_EQ(refusal({marker + "\x13\x80\0\0\0\0\0\0\0"s}), too_long);
    }
}

TEST(property_list_binary_reader, dictionaries_hold_keys_then_values) {
    EXPECT_EQ(description({"\xD2\1\2\3\4", "\x51k", "\x51l", "\x10\1", "\x10\2"}),
              "{k = 1, l = 2}");
    EXPECT_EQ(description({"\xD0"}), "{}");
}

TEST(property_list_binary_reader, of_two_equal_keys_the_first_wins) {
    EXPECT_EQ(description({"\xD2\1\2\3\4", "\x51k", "\x51k", "\x10\1", "\x10\2"}), "{k = 1}");
}

TEST(property_list_binary_reader, keys_are_strings_or_numbers) {
    EXPECT_EQ(description({"\xD1\1\1", "\x10\1"}), "{1 = 1}");
    EXPECT_EQ(refusal({"\xD1\1\1", "\x09"}),
              "binary property list: key that is no string or number");
    EXPECT_EQ(refusal({"\xD1\1\1", "\xA0"}),
              "binary property list: key that is no string or number");
}

TEST(property_list_binary_reader, other_types_are_refused) {
    for (const char marker : {'\x01', '\x0F', '\x15', '\x24', '\x32', '\xB0', '\xE0'}) {
        EXPECT_EQ(refusal({std::string(1, marker) + std::string(64, '\0')}),
                  "binary property list: unknown type of object");
    }
}

TEST(property_list_binary_reader, an_object_is_made_once_however_often_it_is_referred_to) {
    const auto value = read({"\xA3\1\1\1", "\x51k"});
    ASSERT_TRUE(value);
    EXPECT_EQ(content_of(value.get()), "(k, k, k)");
    EXPECT_EQ(simulator::live_objects()["CFString"], 1);
}

TEST(property_list_binary_reader, the_top_object_can_be_any) {
    const auto value = read_bytes(binary_file{{"\x51"
                                               "a",
                                               "\x51"
                                               "b"},
                                              1}
                                      .bytes());
    ASSERT_TRUE(value);
    EXPECT_EQ(content_of(value.get()), "b");
}

TEST(property_list_binary_reader, references_to_no_object_are_refused) {
    EXPECT_EQ(refusal({"\xA1\1"}), "binary property list: reference to no object");
    EXPECT_EQ(refusal_of(binary_file{{"\x09"}, 1}.bytes()),
              "binary property list: reference to no object");
    EXPECT_EQ(refusal({}), "binary property list: reference to no object");
}

TEST(property_list_binary_reader, a_container_inside_itself_is_refused) {
    EXPECT_EQ(refusal({"\xA1\0"s}), "binary property list: container inside itself");
    EXPECT_EQ(refusal({"\xA1\1", "\xD1\2\0"s, "\x51k"}),
              "binary property list: container inside itself");
}

TEST(property_list_binary_reader, five_hundred_and_twelve_containers_may_nest) {
    EXPECT_TRUE(read_bytes(binary_file{nested_arrays(512), 0, 2}.bytes()));
    EXPECT_EQ(refusal_of(binary_file{nested_arrays(513), 0, 2}.bytes()),
              "binary property list: containers nested too deep");
    EXPECT_EQ(refusal_of(binary_file{nested_arrays(60'000), 0, 2}.bytes()),
              "binary property list: containers nested too deep");
}

TEST(property_list_binary_reader, a_shared_container_counts_at_its_deepest_place) {
    // The array at 1 is first met right below the top, then again below the one at 0.
    auto objects = nested_arrays(512);
    objects.push_back("\xA2" + big_endian(1, 2) + big_endian(0, 2));
    EXPECT_EQ(refusal_of(binary_file{objects, 512, 2}.bytes()),
              "binary property list: containers nested too deep");
}

TEST(property_list_binary_reader, shared_containers_may_unfold_to_a_million_values) {
    const auto doubling_arrays = [](int depth) {
        std::vector<std::string> objects;
        for (int i = 1; i < depth; ++i) {
            objects.push_back("\xA2" + big_endian(static_cast<std::uint64_t>(i), 1) +
                              big_endian(static_cast<std::uint64_t>(i), 1));
        }
        objects.emplace_back("\xA0");
        return objects;
    };
    EXPECT_TRUE(read(doubling_arrays(19)));
    EXPECT_EQ(refusal(doubling_arrays(20)),
              "binary property list: shared containers unfold too far");
    EXPECT_EQ(refusal(doubling_arrays(200)),
              "binary property list: shared containers unfold too far");
}

TEST(property_list_binary_reader, objects_that_overlap_are_refused) {
    // The string that is element 2 is inside the data that is element 1.
    const std::string bytes = "bplist00"
                              "\xA2\x01\x02"
                              "\x43\0\x51\x61"
                              "\x08\x0B\x0D"
                              "\0\0\0\0\0\0\1\1"
                              "\0\0\0\0\0\0\0\3"
                              "\0\0\0\0\0\0\0\0"
                              "\0\0\0\0\0\0\0\x0F"s;
    EXPECT_EQ(refusal_of(bytes), "binary property list: objects overlap");
}

TEST(property_list_binary_reader, a_file_that_is_cut_off_is_refused) {
    for (std::size_t size = 8; size < small_file.size(); ++size) {
        EXPECT_FALSE(read_bytes(small_file.substr(0, size))) << size;
    }
    EXPECT_EQ(refusal_of("bplist00"), "binary property list: no room for a trailer");
}

TEST(property_list_binary_reader, broken_trailers_are_refused) {
    const std::size_t trailer = small_file.size() - 32;
    const auto refusal_with = [&](std::size_t position, const std::string& replacement) {
        std::string bytes = small_file;
        bytes.replace(trailer + position, replacement.size(), replacement);
        return refusal_of(bytes);
    };
    const std::string bad_size = "binary property list: bad size of offsets or references";
    const std::string bad_table = "binary property list: offset table outside the file";
    const std::string everything(8, '\xFF');
    EXPECT_EQ(refusal_with(6, "\0"s), bad_size);
    EXPECT_EQ(refusal_with(6, "\x09"), bad_size);
    EXPECT_EQ(refusal_with(7, "\0"s), bad_size);
    EXPECT_EQ(refusal_with(7, "\xFF"), bad_size);
    EXPECT_EQ(refusal_with(8, everything), bad_table);
    EXPECT_EQ(refusal_with(8, big_endian(4, 8)), bad_table);
    EXPECT_EQ(refusal_with(16, everything), "binary property list: reference to no object");
    EXPECT_EQ(refusal_with(24, everything), bad_table);
    EXPECT_EQ(refusal_with(24, big_endian(7, 8)), bad_table);
    EXPECT_EQ(refusal_with(24, big_endian(15, 8)), bad_table);
}

TEST(property_list_binary_reader, offsets_outside_the_objects_are_refused) {
    const std::string outside = "binary property list: object outside the objects";
    for (const char offset : {'\x00', '\x07', '\x0E', '\xFF'}) {
        std::string bytes = small_file;
        bytes[16] = offset;
        EXPECT_EQ(refusal_of(bytes), outside);
    }
}

TEST(property_list_binary_reader, any_of_its_creations_can_fail_without_an_error) {
    const auto document = make_data(
        binary_file{{"\xD1\1\2", "\x51k", "\xA3\3\4\5", "\x10\1", "\x41z", "\x61\0a"s}}.bytes());
    for (int n = 1; n <= 6; ++n) {
        CFErrorRef error = nullptr;
        simulator::fail_creation(n);
        const handle<CFPropertyListRef> value(CFPropertyListCreateWithData(
            kCFAllocatorDefault, document.get(), kCFPropertyListImmutable, nullptr, &error));
        EXPECT_FALSE(value) << n;
        EXPECT_EQ(error, nullptr);
    }
}

} // namespace
