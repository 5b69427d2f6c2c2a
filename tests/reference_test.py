#!/usr/bin/env python3
"""What tools/reference.py refuses, and what it makes of a small interface."""

import contextlib
import io
import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tools"))
import reference  # noqa: E402  (found by the line above)

API = """interface version 13

class Base: 1 property
  property       Name as String

  class Box: 1 method
    method         Value(key as String) as Integer  (assignable)
    method         Clear()
    method         Clear(key as String)

module Codes: 1 constant
  constant       One = 1

in all: 1 module, 2 classes
"""

FILES = {
    "src/plugin/reference.md": "# Reference\n\nText.\n\n## Task\n\n- Base\n- Box\n- Codes\n\n{class tree}\n",
    "src/python/codes.md": "# Codes\nNumbers.\n\n## Table: Constants\n\n| Name | Meaning |\n|---|---|\n| One | `Box` |\n",
    "src/bridge/base.md": "# Base\nThe root. More.\n\n## Name\nIts name.\n",
    "src/bridge/shared.md": "# Shared\n\n## Words\n\n- int: an `int`\n\n"
                        "## Clear\nEmpties the {what}.\n\nParameters:\n- key: What goes.\n",
    "src/bridge/box.md": "# Box\nHolds it.\n\nInclude: shared.md (what = box)\n\n"
                     "## Table: Values\n\n| Method | Reads |\n|---|---|\n| Value | {int} |\n\n"
                     "## Each of Values\nReads {Reads} as {type}, as `Base.Name`.\n\n"
                     "Parameters:\n- key: The key.\n\nSee also: Clear, Name, Codes.One\n",
}

# A change of one file, and the error that it makes.
FAULTS = [
    ("src/bridge/base.md", "# Base", "# Other", "Base has no description"),
    ("src/bridge/base.md", "# Base", "# Other", "src/bridge/base.md describes no class or module"),
    ("src/bridge/base.md", "## Name\n", "## Title\n", "Base.Name has no description"),
    ("src/bridge/base.md", "## Name\n", "## Title\n", "base.md: Base has no member Title"),
    ("src/bridge/base.md", "## Name\n", "## Name, Name\n", "base.md: Base.Name is described twice"),
    ("src/bridge/base.md", "Its name", "As `Box.Size`", "Base.Name: there is no Box.Size"),
    ("src/bridge/box.md", "| Value |", "| Size |", "table Values: Box has no member Size"),
    ("src/bridge/box.md", "{int} |", "{int} | |", "Box: uneven row in table Values: Value"),
    ("src/bridge/box.md", "{int}", "{long}", "Box.Value: unknown word {long}"),
    ("src/bridge/box.md", "- key:", "- index:", "Box.Value: parameter key has no description"),
    ("src/bridge/box.md", "See also", "Errors: a\n\nErrors: b\n\nSee also",
     "Box.Value: two paragraphs of Errors"),
    ("src/bridge/box.md", "- key:", "- index:", "Box.Value: there is no parameter index"),
    ("src/bridge/box.md", "Clear, Name", "Size, Name", "Box.Value: see also leads nowhere: Size"),
    ("src/bridge/box.md", "Each of Values", "Each of Things", "Box: there is no table Things"),
    ("src/bridge/box.md", "## Table", "## Example: Clear\n```\n```\n## Table",
     "Box: an example for no entry: Clear"),
    ("src/python/codes.md", "| One |", "| Two |", "Codes.One has no description"),
    ("src/plugin/reference.md", "- Box", "- Bag", "src/plugin/reference.md: there is no class Bag"),
    ("src/plugin/reference.md", "- Box", "- Bag", "src/plugin/reference.md does not list Box"),
]


class ReferenceTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        for name, text in FILES.items():
            (self.root / name).parent.mkdir(parents=True, exist_ok=True)
            (self.root / name).write_text(text)
        self.api = self.root / "api.txt"
        self.api.write_text(API)

    def run_tool(self, *options):
        with contextlib.redirect_stderr(io.StringIO()) as told:
            status = reference.main([*options, str(self.api)], self.root)
        return status, told.getvalue()

    def test_faults(self):
        for name, old, new, error in FAULTS:
            with self.subTest(error):
                self.assertIn(old, FILES[name])
                (self.root / name).write_text(FILES[name].replace(old, new))
                status, told = self.run_tool()
                (self.root / name).write_text(FILES[name])
                self.assertEqual(status, 1)
                self.assertIn("reference: %s\n" % error, told)
                self.assertFalse((self.root / "docs").exists())

    def test_writes_and_checks_pages(self):
        pages = self.root / "docs" / "reference"
        self.assertIn("README.md is stale", self.run_tool("--check")[1])
        self.assertEqual(self.run_tool(), (0, ""))
        self.assertEqual(self.run_tool("--check"), (0, ""))
        box = (pages / "Box.md").read_text()
        for part in ("| [Name](Base.md#name) | String | Inherited from [Base](Base.md). |",
                     "| [Clear](#clear) | key as String |  | Empties the box. |",
                     "| [`Value`](#value) | an `int` |",
                     "Value(key as String) as Integer\nValue(key as String) = value as Integer\n",
                     "Reads an `int` as Integer, as [`Base.Name`](Base.md#name).",
                     "See also [`Clear`](#clear), [`Name`](Base.md#name), [`Codes.One`](Codes.md#one)."):
            self.assertIn(part, box)
        self.assertIn("- [`Base`](Base.md): The root.\n", (pages / "README.md").read_text())
        self.assertIn("- [`Base`](Base.md)\n  - [`Box`](Box.md)\n", (pages / "README.md").read_text())

        (pages / "Box.md").write_text(box + "More.\n")
        (pages / "Gone.md").write_text("Left over.\n")
        told = self.run_tool("--check")[1]
        self.assertIn("Box.md is stale", told)
        self.assertIn("Gone.md is stale", told)
        self.assertEqual(self.run_tool(), (0, ""))
        self.assertFalse((pages / "Gone.md").exists())


if __name__ == "__main__":
    unittest.main()
