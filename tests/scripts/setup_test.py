#!/usr/bin/env python3
"""scripts/setup touches nothing when everything is there, and installs just what is missing."""

import os
import subprocess
import tempfile
import unittest

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
SCRIPT = os.path.join(ROOT, "scripts", "setup")


class Setup(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.calls = os.path.join(self.folder, "calls")
        self.stand_in("apt-get", f'echo "apt-get $*" >>"{self.calls}"')
        self.stand_in("sudo", '"$@"')

    def stand_in(self, name, text):
        path = os.path.join(self.folder, name)
        with open(path, "w", encoding="utf-8") as script:
            script.write(f"#!/bin/bash\n{text}\n")
        os.chmod(path, 0o755)

    def installed(self, without=()):
        """Lets dpkg-query know every package that is asked for but these."""
        self.stand_in(
            "dpkg-query",
            'shift 3\nfor name; do case $name in\n'
            + "".join(f"{name}) ;;\n" for name in without)
            + '*) echo "$name installed" ;; esac; done',
        )

    def run_setup(self, *arguments):
        done = subprocess.run(
            ["bash", SCRIPT, *arguments],
            env={**os.environ, "PATH": f"{self.folder}:{os.environ['PATH']}"},
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            check=False,
        )
        calls = ""
        if os.path.exists(self.calls):
            with open(self.calls, encoding="utf-8") as log:
                calls = log.read()
        return done.returncode, done.stdout, calls

    def test_nothing_happens_when_all_is_there(self):
        self.installed()
        self.assertEqual(self.run_setup(), (0, "", ""))

    def test_installs_what_is_missing_and_says_so(self):
        self.installed(without=["ffmpeg", "libsdl2-dev"])
        status, output, calls = self.run_setup()
        self.assertEqual(status, 0)
        self.assertIn("setup: installing ffmpeg libsdl2-dev\n", output)
        self.assertRegex(calls, r"install --no-install-recommends ffmpeg libsdl2-dev\n$")

    def test_a_group_leaves_the_others_alone(self):
        self.installed(without=["ffmpeg", "libsdl2-dev"])
        self.assertRegex(self.run_setup("test")[2], r"recommends ffmpeg\n$")

    def test_a_failed_installation_fails(self):
        self.installed(without=["ffmpeg"])
        self.stand_in("apt-get", "exit 100")
        self.assertEqual(self.run_setup()[0], 1)

    def test_an_unknown_group_is_refused(self):
        self.installed()
        self.assertEqual(self.run_setup("everything")[0], 2)


if __name__ == "__main__":
    unittest.main()
