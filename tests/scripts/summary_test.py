#!/usr/bin/env python3
"""scripts/count-tests adds up what ctest and the parts of a longer run report."""

import os
import subprocess
import tempfile
import unittest

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
SCRIPT = os.path.join(ROOT, "scripts", "count-tests")

JUNIT = """<?xml version="1.0" encoding="UTF-8"?>
<testsuite name="x" tests="4" failures="1" disabled="0" skipped="1">
<testcase name="a" status="run"/><testcase name="b" status="run"/>
<testcase name="c" status="fail"><failure message=""/></testcase>
<testcase name="d" status="notrun"><skipped message=""/></testcase>
</testsuite>
"""


class CountTests(unittest.TestCase):
    def count(self, *texts, options=()):
        with tempfile.TemporaryDirectory() as folder:
            paths = []
            for number, text in enumerate(texts):
                paths.append(os.path.join(folder, str(number)))
                if text is not None:
                    with open(paths[-1], "w", encoding="utf-8") as file:
                        file.write(text)
            done = subprocess.run([SCRIPT, *options, *paths], capture_output=True, text=True, check=False)
            return done.returncode, done.stdout

    def test_counts(self):
        for texts, expected in [
            ([JUNIT], (1, "2 passed, 1 failed\n")),
            (["noise\n7 passed, 0 failed\n"], (0, "7 passed, 0 failed\n")),
            (["7 passed, 0 failed\n", JUNIT, "1 passed, 2 failed\n"], (1, "10 passed, 3 failed\n")),
            # What tells nothing is a failure, never a silent pass.
            (["7 passed, 0 failed\nnoise\n"], (1, "0 passed, 1 failed\n")),
            (["7 passed, 0 failed\n", None], (1, "7 passed, 1 failed\n")),
            (["7 passed, 0 failed\n", "<testsuite"], (1, "7 passed, 1 failed\n")),
            ([""], (1, "0 passed, 1 failed\n")),
            (["0 passed, 0 failed\n"], (1, "0 passed, 0 failed\n")),
        ]:
            with self.subTest(texts=texts):
                self.assertEqual(self.count(*texts), expected)

    def test_names_failures(self):
        output = "\n".join(f"line {number}" for number in range(100))
        failed = f'<testcase name="c" status="fail"><system-out>{output}</system-out></testcase>'
        for text, lines in [
            (JUNIT, 1),
            (f"<testsuite>{failed}</testsuite>", 31),
            (f"<testsuite>{failed * 50}</testsuite>", 40 * 31 + 1),
            ('<testsuite><testcase name="a" status="run"/></testsuite>', 0),
        ]:
            with self.subTest(text=text[:60]):
                code, printed = self.count(text, options=["--failures"])
                self.assertEqual((code, len(printed.splitlines())), (0, lines))
                if lines > 1:
                    self.assertIn("line 99", printed)


if __name__ == "__main__":
    unittest.main()
