#!/usr/bin/env python3
"""The bookkeeping of scripts/mutation, with worktrees in which nothing is built or run."""
import contextlib
import io
import pathlib
import sys
import tempfile
import unittest
from unittest import mock

# Tests leave nothing among the sources.
sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).parent / "lib"))

import mutation
from mutants import mutant

SOURCE = "0123456789"


class worktree:
    """Finds that the mutants at some positions survive, that some do not compile, and kills the others."""

    def __init__(self, surviving=(), refused=()):
        self.surviving, self.refused = surviving, refused
        self.tried = []

    def survives(self, candidate):
        self.tried.append((candidate.file, candidate.begin))
        return None if candidate.begin in self.refused else candidate.begin in self.surviving


def candidates(file, count):
    return [mutant(file, "constant", position, position + 1, "x") for position in range(count)]


class campaign(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        for name, value in {"WORK": self.folder, "source_of": lambda file: SOURCE}.items():
            patch = mock.patch.object(mutation, name, value)
            patch.start()
            self.addCleanup(patch.stop)

    def run_campaign(self, tree, count, groups, again=(), explained=frozenset()):
        """Whether enough are killed, and the output."""
        recorded = mutation.results(again, explained)
        with contextlib.redirect_stdout(io.StringIO()) as output:
            mutation.test_mutants(tree, mutation.selection(groups, count), recorded)
            enough = recorded.close()
        return enough, output.getvalue()

    def test_tries_as_many_of_each_folder(self):
        tree = worktree()
        self.run_campaign(tree, 4, {"a": candidates("a/f.cpp", 5), "b": candidates("b/f.cpp", 5)})
        self.assertEqual(tree.tried, [("a/f.cpp", 0), ("b/f.cpp", 0), ("a/f.cpp", 1), ("b/f.cpp", 1)])

    def test_takes_more_of_others_when_a_folder_has_too_few(self):
        tree = worktree()
        self.run_campaign(tree, 4, {"a": candidates("a/f.cpp", 1), "b": candidates("b/f.cpp", 5)})
        self.assertEqual(len(tree.tried), 4)

    def test_replaces_those_that_do_not_compile(self):
        tree = worktree(refused=[0, 1])
        _, output = self.run_campaign(tree, 2, {"a": candidates("a/f.cpp", 5)})
        self.assertEqual([position for _, position in tree.tried], [0, 1, 2, 3])
        self.assertRegex(output, r"in all +2 +2  100.0 %")

    def test_lists_survivors_and_fails_if_there_are_too_many(self):
        enough, output = self.run_campaign(worktree(surviving=[1]), 10, {"a": candidates("a/f.cpp", 10)})
        self.assertFalse(enough)
        self.assertIn("survived: a/f.cpp:1: constant: 1  ->  x\n", output)
        self.assertRegex(output, r"in all +10 +9  90.0 %")

    def test_fails_if_a_survivor_is_not_explained(self):
        among = {"a": candidates("a/f.cpp", 40)}
        enough, output = self.run_campaign(worktree(surviving=[1]), 40, among)
        self.assertFalse(enough)
        self.assertIn("docs/reliability.md does not explain: a/f.cpp:1: constant: 1  ->  x\n", output)

    def test_passes_if_few_survive_and_all_of_these_are_explained(self):
        among = {"a": candidates("a/f.cpp", 40)}
        rows = {("a/f.cpp", "constant", "0123456789", "x")}
        self.assertTrue(self.run_campaign(worktree(surviving=[1]), 40, among, explained=rows)[0])
        self.assertFalse(self.run_campaign(worktree(surviving=[1, 2]), 40, {"a": candidates("a/f.cpp", 40)},
                                           again=["all"], explained=rows)[0])

    def test_passes_if_all_are_killed(self):
        self.assertTrue(self.run_campaign(worktree(), 3, {"a": candidates("a/f.cpp", 3)})[0])

    def test_continues_where_it_was_interrupted(self):
        groups = {"a": candidates("a/f.cpp", 4)}
        self.run_campaign(worktree(surviving=[1], refused=[0]), 2, {"a": candidates("a/f.cpp", 4)})
        with open(self.folder / "results.jsonl", "a", encoding="utf-8") as file:
            file.write('{"identity": "half a li')
        tree = worktree()
        _, output = self.run_campaign(tree, 3, groups)
        self.assertEqual(tree.tried, [("a/f.cpp", 3)])
        self.assertRegex(output, r"in all +3 +2 ")

    def test_tries_survivors_again(self):
        self.run_campaign(worktree(surviving=[1]), 3, {"a": candidates("a/f.cpp", 3)})
        tree = worktree()
        enough, _ = self.run_campaign(tree, 3, {"a": candidates("a/f.cpp", 3)}, again=["survivors"])
        self.assertEqual((tree.tried, enough), ([("a/f.cpp", 1)], True))

    def test_tries_all_again(self):
        self.run_campaign(worktree(), 3, {"a": candidates("a/f.cpp", 3)})
        tree = worktree()
        self.run_campaign(tree, 3, {"a": candidates("a/f.cpp", 3)}, again=["all"])
        self.assertEqual(len(tree.tried), 3)

    def test_tries_a_mutant_again_when_its_file_has_changed(self):
        self.run_campaign(worktree(), 2, {"a": candidates("a/f.cpp", 2)})
        tree = worktree()
        with mock.patch.object(mutation, "source_of", lambda file: SOURCE + "!"):
            self.run_campaign(tree, 2, {"a": candidates("a/f.cpp", 2)})
        self.assertEqual(len(tree.tried), 2)


class surviving_mutants(unittest.TestCase):
    """A worktree in which everything builds and passes."""

    def survives(self, replacement):
        with tempfile.TemporaryDirectory() as folder, \
                mock.patch.object(mutation, "WORK", pathlib.Path(folder)), \
                mock.patch.object(mutation, "source_of", lambda file: SOURCE):
            tree = mutation.worktree(0)
            tree.temporary.mkdir(parents=True)
            path = tree.folder / "f.cpp"
            path.parent.mkdir(parents=True)
            tree.builds = tree.passes = tree.other_tests_pass = lambda *_, **__: True
            # A compiler that ignores blanks.
            tree.machine_code = lambda: path.read_text().replace(" ", "")
            result = tree.survives(mutant("f.cpp", "constant", 0, 1, replacement))
            self.assertEqual(path.read_text(), SOURCE)
            return result

    def test_one_with_other_machine_code_survives(self):
        self.assertIs(self.survives("x"), True)

    def test_one_with_the_same_machine_code_is_not_counted(self):
        self.assertIsNone(self.survives(" 0"))


class order_of_mutants(unittest.TestCase):
    def in_order(self, source, count):
        """What the mutants of the first characters change, each once as kind a and once as kind b."""
        mixed = [mutant("f.cpp", kind, position, position + 1, "") for kind in ("a", "b") for position in range(count)]
        with mock.patch.object(mutation, "source_of", lambda file: source):
            return [(one.kind, source[one.begin]) for one in mutation.in_even_order(mixed)]

    def test_alternates_between_the_kinds(self):
        self.assertEqual([kind for kind, _ in self.in_order(SOURCE, 3)], ["a", "b"] * 3)

    def test_is_arbitrary(self):
        self.assertNotEqual([text for kind, text in self.in_order(SOURCE, 10) if kind == "a"], list(SOURCE))

    def test_stays_when_the_source_gains_other_mutants(self):
        def of_kind_a(source):
            return [text for kind, text in self.in_order(source, len(source)) if kind == "a" and text in SOURCE]
        self.assertEqual(of_kind_a(SOURCE), of_kind_a("ab" + SOURCE + "cd"))

    def test_has_equal_changes_in_any_number(self):
        self.assertEqual(sorted(self.in_order("0000", 4)), [("a", "0")] * 4 + [("b", "0")] * 4)


PAGE = """
| file | kind | changed | becomes | why no test fails |
| --- | --- | --- | --- | --- |
| `f.cpp` | operator | `if (a \\|\\| b) {` | `&&` | a is b |
| `f.cpp` | removed call | `second();` | `(nothing)` | it does nothing |
"""
TWO_LINES = "    if (a || b) {\n    second();\n"
OR, CALL = TWO_LINES.index("||"), TWO_LINES.index("second")


class explained_survivors(unittest.TestCase):
    def row_of(self, *of_mutant):
        with mock.patch.object(mutation, "source_of", lambda file: TWO_LINES):
            return mutation.row_of(mutant(*of_mutant))

    def test_are_the_rows_of_the_page(self):
        self.assertEqual(mutation.explained_survivors(PAGE),
                         {self.row_of("f.cpp", "operator", OR, OR + 2, "&&"),
                          self.row_of("f.cpp", "removed call", CALL, CALL + 9, "")})

    def test_are_no_others_of_the_same_line(self):
        for other in (("f.cpp", "operator", OR, OR + 2, "^"), ("f.cpp", "constant", OR, OR + 2, "&&"),
                      ("g.cpp", "operator", OR, OR + 2, "&&"), ("f.cpp", "operator", CALL, CALL + 2, "&&")):
            self.assertNotIn(self.row_of(*other), mutation.explained_survivors(PAGE))

    def test_of_the_project_exist(self):
        with mock.patch.object(sys, "argv", ["mutation", "--list"]):
            with contextlib.redirect_stdout(io.StringIO()) as listed:
                self.assertEqual(mutation.main(), 0)
        self.assertIn("device/callback_gate.cpp", listed.getvalue())


if __name__ == "__main__":
    unittest.main()
