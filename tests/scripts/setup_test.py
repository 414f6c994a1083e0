#!/usr/bin/env python3
"""scripts/setup installs missing packages only, and does nothing if none is missing."""

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
        """Replaces dpkg-query with a script for which all packages but these are installed."""
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

    def test_does_nothing_if_all_packages_are_installed(self):
        self.installed()
        self.assertEqual(self.run_setup(), (0, "", ""))

    def test_installs_missing_packages_and_prints_them(self):
        self.installed(without=["ffmpeg", "libsdl2-dev"])
        status, output, calls = self.run_setup()
        self.assertEqual(status, 0)
        self.assertIn("setup: installing ffmpeg libsdl2-dev\n", output)
        self.assertRegex(calls, r"install --no-install-recommends ffmpeg libsdl2-dev\n$")

    def test_installs_the_packages_of_a_group_only(self):
        self.installed(without=["ffmpeg", "libsdl2-dev"])
        self.assertRegex(self.run_setup("test")[2], r"recommends ffmpeg\n$")

    def test_fails_if_the_installation_fails(self):
        self.installed(without=["ffmpeg"])
        self.stand_in("apt-get", "exit 100")
        self.assertEqual(self.run_setup()[0], 1)

    def test_rejects_an_unknown_group(self):
        self.installed()
        self.assertEqual(self.run_setup("everything")[0], 2)


if __name__ == "__main__":
    unittest.main()
