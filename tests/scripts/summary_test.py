#!/usr/bin/env python3
"""scripts/count-tests adds the results of ctest and of logs."""

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

    def test_counts_passed_and_failed_tests(self):
        for texts, expected in [
            (["noise\n7 passed, 0 failed\n"], (0, "7 passed, 0 failed\n")),
            ([JUNIT], (1, "failed: c\n2 passed, 1 failed\n")),
            (
                ["7 passed, 0 failed\n", JUNIT, "noise\n1 passed, 2 failed\n"],
                (1, "-- 2\n   noise\nfailed: c\nfailed: 2\n10 passed, 3 failed\n"),
            ),
            (["0 passed, 0 failed\n"], (1, "0 passed, 0 failed\n")),
        ]:
            with self.subTest(texts=texts):
                self.assertEqual(self.count(*texts), expected)

    def test_input_without_results_is_a_failure(self):
        for text in ["7 passed, 0 failed\nnoise\n", None, "<testsuite", ""]:
            with self.subTest(text=text):
                code, printed = self.count("7 passed, 0 failed\n", text)
                self.assertEqual((code, printed.splitlines()[-1]), (1, "7 passed, 1 failed"))
                self.assertIn("failed: ", printed)

    def test_prints_failed_tests_at_the_end(self):
        output = "\n".join(f"line {number}" for number in range(100))
        failed = (
            '<testcase name="c  # GetParam() = 1-byte object" status="fail">'
            f"<system-out>{output}</system-out></testcase>"
        )
        code, printed = self.count(f"<testsuite>{failed}</testsuite>", options=["--failure", "more"])
        end = "".join(f"   line {number}\n" for number in range(70, 100))
        self.assertEqual((code, printed), (1, f"-- c\n{end}failed: more\nfailed: c\n0 passed, 2 failed\n"))

        # Failures at the end of a log are printed with the name of the log.
        code, printed = self.count(f"noise\n{printed}")
        end = f"-- 0: c\n{end}failed: 0: more\nfailed: 0: c\n0 passed, 2 failed\n"
        self.assertEqual((code, printed), (1, end))

        code, printed = self.count(f"<testsuite>{failed * 50}</testsuite>")
        self.assertEqual(len(printed.splitlines()), 20 * 31 + 40 + 2)
        self.assertTrue(printed.endswith("failed: c\nfailed: 10 more\n0 passed, 50 failed\n"))


if __name__ == "__main__":
    unittest.main()
