#include "foundation/code_table.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>

namespace vandrel {

namespace {

struct entry {
    std::int32_t code;
    char name;
};

constexpr std::int32_t smallest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t largest = std::numeric_limits<std::int32_t>::max();

constexpr auto table = std::to_array<entry>({{-3, 'a'}, {2, 'b'}, {7, 'c'}});

template<class Table>
char name_of(const Table& entries, std::int32_t code) {
    const entry* const found = find_code(entries, code);
    return found == nullptr ? '-' : found->name;
}

} // namespace

TEST(find_code, finds_every_entry_by_its_code) {
    EXPECT_EQ(name_of(table, -3), 'a');
    EXPECT_EQ(name_of(table, 2), 'b');
    EXPECT_EQ(name_of(table, 7), 'c');
}

TEST(find_code, finds_nothing_for_a_code_before_between_and_after_the_entries) {
    EXPECT_EQ(name_of(table, smallest), '-');
    EXPECT_EQ(name_of(table, -4), '-');
    EXPECT_EQ(name_of(table, 3), '-');
    EXPECT_EQ(name_of(table, 8), '-');
    EXPECT_EQ(name_of(table, largest), '-');
}

TEST(find_code, finds_nothing_in_an_empty_table) {
    EXPECT_EQ((name_of(std::array<entry, 0>(), 0)), '-');
}

TEST(is_ordered_by_code, is_true_for_ascending_codes) {
    static_assert(is_ordered_by_code(table));
    static_assert(is_ordered_by_code(std::array<entry, 1>{{{5, 'a'}}}));
}

TEST(is_ordered_by_code, is_false_for_a_code_out_of_order_or_repeated) {
    static_assert(!is_ordered_by_code(std::to_array<entry>({{2, 'a'}, {1, 'b'}, {3, 'c'}})));
    static_assert(!is_ordered_by_code(std::to_array<entry>({{1, 'a'}, {3, 'b'}, {2, 'c'}})));
    static_assert(!is_ordered_by_code(std::to_array<entry>({{1, 'a'}, {1, 'b'}})));
}

} // namespace vandrel
