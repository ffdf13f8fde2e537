#!/usr/bin/env python3
"""Pairing, comparing and writing, without measuring anything."""
import unittest

import platform_costs
from figures import Figure, Row, between_markers, grown, measure, table, time_text


def row(ours=(), reference=(), **more):
    return Row("reading", "a copy", iter(ours).__next__, iter(reference).__next__, **more)


class measuring(unittest.TestCase):
    def test_each_measurement_is_paired_with_the_reference_before_it(self):
        order = []

        def measured(name, values):
            rest = iter(values)
            return lambda: order.append(name) or next(rest)

        figure = measure(Row("reading", "a copy", measured("ours", [2.0, 8.0, 3.0]),
                             measured("reference", [1.0, 2.0, 3.0])), 3)
        self.assertEqual(order, ["reference", "ours"] * 3)
        # The pairs are 2, 4 and 1.
        self.assertEqual((figure.median, figure.lowest, figure.highest), (2.0, 1.0, 4.0))
        self.assertEqual((figure.ours, figure.reference), (3.0, 2.0))

    def test_a_mark_is_missed_above_it_only(self):
        at_both = measure(row([3.0], [2.0], must=1.5, aim=1.5), 1)
        self.assertFalse(at_both.misses_must or at_both.misses_aim)
        above = measure(row([4.0], [2.0], must=1.5, aim=1.0), 1)
        self.assertTrue(above.misses_must and above.misses_aim)
        without = measure(row([4.0], [2.0]), 1)
        self.assertFalse(without.misses_must or without.misses_aim)

    def test_a_figure_may_be_a_difference(self):
        figure = measure(row([7], [4], compare=lambda ours, other: ours - other), 1)
        self.assertEqual(figure.median, 3)


class writing(unittest.TestCase):
    def test_the_table_has_medians_spread_and_limits(self):
        figure = Figure(row(must=2.0, aim=1.0), 1.25, 1.0, 2.5, 0.0015, 0.0012)
        self.assertEqual(table([figure]).splitlines()[-1],
                         "| reading | a copy | 1.5 ms | 1.2 ms | **1.25 x** (1 x to 2.5 x) | 2 x "
                         "| 1 x **missed** |")

    def test_a_missing_mark_is_an_empty_cell(self):
        figure = Figure(row(), 1.25, 1.0, 2.5, 15e-9, 12e-6)
        self.assertEqual(table([figure]).splitlines()[-1],
                         "| reading | a copy | 15 ns | 12 µs | **1.25 x** (1 x to 2.5 x) |  |  |")

    def test_times_are_written_in_the_unit_that_fits(self):
        self.assertEqual([time_text(2.345), time_text(0.25), time_text(1e-6)],
                         ["2.35 s", "250 ms", "1 µs"])

    def test_only_what_is_between_the_markers_is_replaced(self):
        page = "before\n<!-- a -->\nold\nold\n<!-- b -->\nafter\n"
        self.assertEqual(between_markers(page, "<!-- a -->", "<!-- b -->", "new"),
                         "before\n<!-- a -->\nnew\n<!-- b -->\nafter\n")

    def test_a_page_without_markers_is_refused(self):
        with self.assertRaises(ValueError):
            between_markers("<!-- a -->\n", "<!-- a -->", "<!-- b -->", "new")


class instruction_counts(unittest.TestCase):
    def test_growth_within_the_margin_is_accepted(self):
        self.assertEqual(grown({"job": 1050}, {"job": 1000}, 0.05), [])
        self.assertEqual(grown({"job": 10}, {"job": 1000}, 0.05), [])

    def test_growth_beyond_the_margin_is_reported(self):
        self.assertEqual(grown({"a": 1051, "b": 1}, {"a": 1000, "b": 1}, 0.05),
                         [("a", "1,051 instructions, +5.1% beyond 1,000")])

    def test_a_job_without_a_count_is_reported(self):
        self.assertEqual(grown({"new": 7}, {}, 0.05), [("new", "7 instructions, no stored count")])


class platform_counts(unittest.TestCase):
    @staticmethod
    def counts(report):
        return {"start": {"calls": 1}, "report": report, "device-info": {"calls": 1}}

    def test_a_count_may_fall(self):
        self.assertEqual(list(platform_costs.grown(self.counts({"calls": 2}), self.counts({"calls": 3}))), [])

    def test_one_call_more_is_too_many(self):
        self.assertEqual(
            list(platform_costs.grown(self.counts({"calls": 4}), self.counts({"calls": 3}))),
            ["report: calls: 4, stored count 3"])

    def test_allocations_may_grow_by_a_twentieth(self):
        kept = self.counts({"allocations": 100})
        self.assertEqual(list(platform_costs.grown(self.counts({"allocations": 105}), kept)), [])
        self.assertEqual(list(platform_costs.grown(self.counts({"allocations": 106}), kept)),
                         ["report: allocations: 106, stored count 100"])

    def test_a_call_that_was_not_made_before_is_too_many(self):
        self.assertEqual(
            list(platform_costs.grown(self.counts({"CFRetain": 1}), self.counts({}))),
            ["report: CFRetain: 1, stored count 0"])

    def test_the_table_has_a_row_for_every_function_that_any_job_calls(self):
        counts = {"start": {"calls": 1, "CFRetain": 1}, "report": {"calls": 2, "CFRelease": 2},
                  "device-info": {"calls": 0}}
        self.assertEqual(platform_costs.table(counts).splitlines()[-2:],
                         ["| `CFRelease` | 0 | 2 | 0 |", "| `CFRetain` | 1 | 0 | 0 |"])


if __name__ == "__main__":
    unittest.main()
