#include "simulator/core_foundation/entry_table.h"
#include "simulator/core_foundation/test_objects.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace simulator;
using namespace simulator::test;

const object& value_of(const handle<CFNumberRef>& number) {
    return *static_cast<const object*>(static_cast<CFTypeRef>(number.get()));
}

/// Entries whose values are the double of their keys, as many as tables of every kind hold.
void fill(entry_table& table, std::int64_t from, std::int64_t to) {
    for (std::int64_t i = from; i < to; ++i) {
        table.set(value_of(make_number(i)), &value_of(make_number(2 * i)));
    }
}

std::string found(const entry_table& table, std::int64_t key) {
    const auto* const entry = table.find(value_of(make_number(key)));
    return entry == nullptr ? "nothing" : entry->value->describe();
}

TEST(entry_table, finds_every_entry_however_many_there_are) {
    entry_table table;
    for (std::int64_t count = 0; count < 300; ++count) {
        SCOPED_TRACE(count);
        EXPECT_EQ(found(table, count), "nothing");
        fill(table, count, count + 1);
        EXPECT_EQ(found(table, 0), "0");
        EXPECT_EQ(found(table, count), std::to_string(2 * count));
        EXPECT_EQ(table.entries().size(), static_cast<std::size_t>(count) + 1);
    }
    for (std::int64_t i = 0; i < 300; ++i) {
        EXPECT_EQ(found(table, i), std::to_string(2 * i));
    }
}

TEST(entry_table, finds_every_entry_of_a_table_with_room) {
    for (const std::size_t room : {1U, 4U, 9U, 100U}) {
        SCOPED_TRACE(room);
        entry_table table;
        table.reserve(room);
        for (std::int64_t i = 0; i < 50; ++i) {
            EXPECT_EQ(found(table, i), "nothing");
            fill(table, i, i + 1);
            EXPECT_EQ(found(table, i), std::to_string(2 * i));
        }
        EXPECT_EQ(found(table, 0), "0");
        EXPECT_EQ(table.entries().size(), 50U);
    }
}

TEST(entry_table, keeps_the_order_when_values_are_replaced) {
    entry_table table;
    fill(table, 0, 100);
    table.set(value_of(make_number(50)), &value_of(make_number(7)));
    table.set(value_of(make_number(3)), nullptr);
    ASSERT_EQ(table.entries().size(), 100U);
    EXPECT_EQ(found(table, 50), "7");
    EXPECT_EQ(table.entries()[50].value->describe(), "7");
    EXPECT_EQ(table.entries()[3].value, nullptr);
    EXPECT_EQ(table.entries()[99].key->describe(), "99");
}

TEST(entry_table, distinguishes_keys_of_different_types) {
    entry_table table;
    fill(table, 0, 20);
    EXPECT_EQ(table.find(*static_cast<const object*>(static_cast<CFTypeRef>(CFSTR("7")))), nullptr);
}

} // namespace
