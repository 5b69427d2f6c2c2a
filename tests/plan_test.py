#!/usr/bin/env python3
"""What tools/plan.py refuses."""

import contextlib
import io
import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tools"))
import plan  # noqa: E402  (found by the line above)


class PlanTest(unittest.TestCase):
    def complaint_about(self, file, included):
        """What check() prints of a house with that include alone; the empty string for nothing."""
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            for name in ("src/python/runtime.h", file):
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).write_text("// text\n")
            (root / file).write_text(f'#include <vector>\n#include "{included}"\n')
            output = io.StringIO()
            with contextlib.redirect_stdout(output):
                failed = plan.check(root)
            self.assertEqual(failed, bool(output.getvalue()))
            return output.getvalue()

    def test_down_and_beside(self):
        self.assertEqual(self.complaint_about("src/bridge/list.cpp", "python/runtime.h"), "")
        self.assertEqual(self.complaint_about("host/cli/main.cpp", "host/runtime/heap.h"), "")
        self.assertEqual(self.complaint_about("host/cli/main.cpp", "host/cli/cli.h"), "")

    def test_up(self):
        self.assertEqual(self.complaint_about("src/boundary/host.cpp", "python/runtime.h"),
                         'src/boundary/host.cpp:2: "python/runtime.h" is included, but src/boundary '
                         "lies below src/python and must not know it\n")
        self.assertIn("host/runtime lies below host/cli",
                      self.complaint_about("host/runtime/heap.h", "host/cli/cli.h"))

    def test_across(self):
        self.assertIn("host/cli must not know src/python",
                      self.complaint_about("host/cli/main.cpp", "python/runtime.h"))
        self.assertIn("src/python must not know host/runtime",
                      self.complaint_about("src/python/errors.cpp", "host/runtime/heap.h"))
        self.assertIn("does not know this room",
                      self.complaint_about("src/attic/box.cpp", "python/runtime.h"))


if __name__ == "__main__":
    unittest.main()
