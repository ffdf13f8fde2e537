#!/usr/bin/env python3
"""Checks that every test named in a table of docs/testing.md or docs/reliability.md exists, and that the links of all
pages lead to a file and a heading.

    testing_page_test.py ROOT
"""
import pathlib
import re
import sys
import unittest

root = pathlib.Path()

NAME_ON_PAGE = re.compile(r"`(\w+\.\w+)`")
GOOGLE_TEST = re.compile(r"^TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\)", re.MULTILINE)
PYTHON_CLASS = re.compile(r"^class (\w+)(?:\([\w.]+\))?:(.*?)(?=^\S|\Z)", re.MULTILINE | re.DOTALL)
PYTHON_TEST = re.compile(r"^    def (test_\w+)", re.MULTILINE)


def tests_of(folder):
    names = set()
    for source in folder.rglob("*_test.cpp"):
        names.update(".".join(match) for match in GOOGLE_TEST.findall(source.read_text("utf-8")))
    for source in folder.rglob("*_test.py"):
        for suite, body in PYTHON_CLASS.findall(source.read_text("utf-8")):
            names.update(f"{suite}.{test}" for test in PYTHON_TEST.findall(body))
    return names


def names_on(page):
    text = (root / "docs" / page).read_text("utf-8")
    rows = "\n".join(line for line in text.splitlines() if line.startswith("| "))
    return {name for name in NAME_ON_PAGE.findall(rows) if not name.endswith((".cpp", ".py"))}


class named_tests(unittest.TestCase):
    def expect_tests_on(self, page, more_than):
        existing = set()
        for folder in root.iterdir():
            if folder.is_dir() and folder.name != "build" and not folder.name.startswith("."):
                existing |= tests_of(folder)
        named = names_on(page)
        self.assertGreater(len(named), more_than)
        self.assertEqual(sorted(named - existing), [])

    def test_of_the_testing_page_exist(self):
        self.expect_tests_on("testing.md", more_than=94)

    def test_of_the_reliability_page_exist(self):
        self.expect_tests_on("reliability.md", more_than=15)


def anchors_of(page):
    """The anchors of a page's headings, as code hosting sites make them."""
    headings = re.findall(r"^#+ (.*)$", re.sub(r"^```.*?^```$", "", page.read_text("utf-8"), flags=re.M | re.S), re.M)
    return {re.sub(r"[^\w -]", "", heading).strip().lower().replace(" ", "-") for heading in headings}


class links(unittest.TestCase):
    def test_between_pages_lead_to_a_file_and_a_heading(self):
        count = 0
        for page in [*root.glob("*.md"), *(root / "docs").glob("*.md")]:
            for target in re.findall(r"\]\((?!https?:)([^)\s]*)\)", page.read_text("utf-8")):
                name, _, anchor = target.partition("#")
                file = page.parent / name if name else page
                with self.subTest(page=page.name, target=target):
                    count += 1
                    self.assertTrue(file.exists())
                    if anchor:
                        self.assertIn(anchor, anchors_of(file))
        self.assertGreater(count, 30)


if __name__ == "__main__":
    root = pathlib.Path(sys.argv[1])
    unittest.main(argv=sys.argv[:1], verbosity=2)
