#include "simulator/core_foundation/number.h"
#include "simulator/core_foundation/test_objects.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using namespace simulator::test;

/// What CFNumberGetValue says and stores.
template<class T>
struct reading {
    bool exact;
    T value;
    bool operator==(const reading&) const = default;
};

template<class T>
reading<T> read(const handle<CFNumberRef>& number, CFNumberType type) {
    T value{};
    const bool exact = CFNumberGetValue(number.get(), type, &value) != 0;
    return {exact, value};
}

reading<std::int16_t> read_16(const handle<CFNumberRef>& number) {
    return read<std::int16_t>(number, kCFNumberSInt16Type);
}

reading<std::int32_t> read_32(const handle<CFNumberRef>& number) {
    return read<std::int32_t>(number, kCFNumberSInt32Type);
}

reading<std::int64_t> read_64(const handle<CFNumberRef>& number) {
    return read<std::int64_t>(number, kCFNumberSInt64Type);
}

reading<double> read_real(const handle<CFNumberRef>& number) {
    return read<double>(number, kCFNumberFloat64Type);
}

handle<CFNumberRef> unsigned_number(std::uint64_t value) {
    return handle<CFNumberRef>(simulator::create<__CFNumber>(value));
}

constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();

TEST(cf_number, every_type_of_integer_can_go_in) {
    const std::int16_t value_16 = -16;
    const std::int32_t value_32 = -32;
    const CFIndex index = -64;
    const handle<CFNumberRef> number_16(
        CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt16Type, &value_16));
    const handle<CFNumberRef> number_32(
        CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &value_32));
    const handle<CFNumberRef> number_64(
        CFNumberCreate(kCFAllocatorDefault, kCFNumberCFIndexType, &index));
    EXPECT_EQ(read_64(number_16), (reading<std::int64_t>{true, -16}));
    EXPECT_EQ(read_64(number_32), (reading<std::int64_t>{true, -32}));
    EXPECT_EQ(read<CFIndex>(number_64, kCFNumberCFIndexType), (reading<CFIndex>{true, -64}));
}

TEST(cf_number, an_integer_is_read_exactly_where_it_fits) {
    EXPECT_EQ(read_16(make_number(32767)), (reading<std::int16_t>{true, 32767}));
    EXPECT_EQ(read_16(make_number(-32768)), (reading<std::int16_t>{true, -32768}));
    EXPECT_EQ(read_32(make_number(2147483647)), (reading<std::int32_t>{true, 2147483647}));
    EXPECT_EQ(read_64(make_number(highest)), (reading<std::int64_t>{true, highest}));
    EXPECT_EQ(read_64(make_number(lowest)), (reading<std::int64_t>{true, lowest}));
}

TEST(cf_number, an_integer_that_does_not_fit_gives_its_low_bits_and_false) {
    EXPECT_EQ(read_16(make_number(65536)), (reading<std::int16_t>{false, 0}));
    EXPECT_EQ(read_16(make_number(-32769)), (reading<std::int16_t>{false, 32767}));
    EXPECT_EQ(read_32(make_number(4294967297)), (reading<std::int32_t>{false, 1}));
    EXPECT_EQ(read_32(make_number(-2147483649)), (reading<std::int32_t>{false, 2147483647}));
    EXPECT_EQ(read_32(make_number(highest)), (reading<std::int32_t>{false, -1}));
    EXPECT_EQ(read_32(unsigned_number(18446744073709551615U)), (reading<std::int32_t>{false, -1}));
    EXPECT_EQ(read_16(unsigned_number(9223372036854775809U)), (reading<std::int16_t>{false, 1}));
}

TEST(cf_number, an_integer_that_fits_without_a_sign_is_read_as_negative) {
    EXPECT_EQ(read_16(make_number(32768)), (reading<std::int16_t>{true, -32768}));
    EXPECT_EQ(read_16(make_number(65535)), (reading<std::int16_t>{true, -1}));
    EXPECT_EQ(read_32(make_number(2147483648)), (reading<std::int32_t>{true, -2147483648}));
    EXPECT_EQ(read_32(make_number(4294967295)), (reading<std::int32_t>{true, -1}));
    EXPECT_EQ(read_64(unsigned_number(9223372036854775808U)),
              (reading<std::int64_t>{true, lowest}));
    EXPECT_EQ(read_64(unsigned_number(18446744073709551615U)), (reading<std::int64_t>{true, -1}));
}

TEST(cf_number, a_real_is_read_as_an_integer_when_it_is_one) {
    EXPECT_EQ(read_32(make_real(-7.0)), (reading<std::int32_t>{true, -7}));
    EXPECT_EQ(read_64(make_real(-9223372036854775808.0)), (reading<std::int64_t>{true, lowest}));
    EXPECT_EQ(read_64(make_real(9223372036854775808.0)), (reading<std::int64_t>{true, lowest}));
    EXPECT_EQ(read_32(make_real(-0.0)), (reading<std::int32_t>{true, 0}));
}

TEST(cf_number, a_real_that_is_no_such_integer_is_cut_and_false) {
    EXPECT_EQ(read_32(make_real(2.75)), (reading<std::int32_t>{false, 2}));
    EXPECT_EQ(read_32(make_real(-2.75)), (reading<std::int32_t>{false, -2}));
    EXPECT_EQ(read_16(make_real(40000.5)), (reading<std::int16_t>{false, -25536}));
    EXPECT_EQ(read_16(make_real(-40000.5)), (reading<std::int16_t>{false, 25536}));
    EXPECT_EQ(read_64(make_real(18446744073709555712.0)), (reading<std::int64_t>{false, 4096}));
    EXPECT_EQ(read_64(make_real(1e300)), (reading<std::int64_t>{false, 0}));
    EXPECT_EQ(read_64(make_real(std::nan(""))), (reading<std::int64_t>{false, 0}));
}

TEST(cf_number, an_integer_is_read_as_a_real_when_that_holds_it) {
    EXPECT_EQ(read_real(make_number(9007199254740992)),
              (reading<double>{true, 9007199254740992.0}));
    EXPECT_EQ(read_real(make_number(9007199254740993)),
              (reading<double>{false, 9007199254740992.0}));
    EXPECT_EQ(read_real(make_number(highest)), (reading<double>{false, 9223372036854775808.0}));
    EXPECT_EQ(read_real(make_real(0.1)), (reading<double>{true, 0.1}));
}

TEST(cf_number, what_is_not_finite_is_read_as_it_is) {
    EXPECT_TRUE(std::isnan(read_real(make_real(std::nan(""))).value));
    EXPECT_TRUE(read_real(make_real(std::nan(""))).exact);
    EXPECT_EQ(read_real(make_real(-INFINITY)), (reading<double>{true, -INFINITY}));
}

TEST(cf_number, numbers_are_equal_by_value) {
    EXPECT_TRUE(CFEqual(make_number(1).get(), make_real(1.0).get()));
    EXPECT_FALSE(CFEqual(make_number(1).get(), make_real(1.5).get()));
    EXPECT_FALSE(CFEqual(make_number(-1).get(), unsigned_number(18446744073709551615U).get()));
    EXPECT_TRUE(CFEqual(make_real(9223372036854775808.0).get(),
                        unsigned_number(9223372036854775808U).get()));
}

TEST(cf_number, zero_and_minus_zero_are_not_equal) {
    EXPECT_FALSE(CFEqual(make_real(0.0).get(), make_real(-0.0).get()));
    EXPECT_FALSE(CFEqual(make_number(0).get(), make_real(-0.0).get()));
    EXPECT_TRUE(CFEqual(make_real(-0.0).get(), make_real(-0.0).get()));
    EXPECT_TRUE(CFEqual(make_number(0).get(), make_real(0.0).get()));
}

TEST(cf_number, what_is_no_number_equals_the_same_and_nothing_else) {
    EXPECT_TRUE(CFEqual(make_real(std::nan("")).get(), make_real(-std::nan("1")).get()));
    EXPECT_FALSE(CFEqual(make_real(std::nan("")).get(), make_real(1).get()));
    EXPECT_FALSE(CFEqual(make_real(1).get(), make_real(std::nan("")).get()));
}

TEST(cf_number, what_is_no_number_can_be_a_key) {
    const auto entries = make_dictionary({{make_real(std::nan("")).get(), kCFBooleanTrue}});
    EXPECT_EQ(CFDictionaryGetValue(entries.get(), make_real(-std::nan("1")).get()), kCFBooleanTrue);
}

TEST(cf_number, equal_numbers_are_one_key) {
    const auto entries = make_dictionary({{make_number(1).get(), kCFBooleanFalse}});
    CFDictionarySetValue(entries.get(), make_real(1.0).get(), kCFBooleanTrue);
    EXPECT_EQ(CFDictionaryGetCount(entries.get()), 1);
}

TEST(cf_number, its_description_is_decimal) {
    EXPECT_EQ(description_of(make_number(-42).get()), "-42");
    EXPECT_EQ(description_of(make_real(0.1).get()), "0.10000000000000001");
    EXPECT_EQ(description_of(make_real(-0.0).get()), "0.0");
    EXPECT_EQ(description_of(unsigned_number(18446744073709551615U).get()), "18446744073709551615");
}

TEST(cf_boolean, there_are_two) {
    EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
    EXPECT_FALSE(CFBooleanGetValue(kCFBooleanFalse));
    EXPECT_EQ(CFGetTypeID(kCFBooleanTrue), CFBooleanGetTypeID());
    EXPECT_FALSE(CFEqual(kCFBooleanTrue, kCFBooleanFalse));
    EXPECT_EQ(description_of(kCFBooleanTrue), "true");
}

} // namespace
