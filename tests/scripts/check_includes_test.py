#!/usr/bin/env python3
"""scripts/check-includes accepts the source tree and reports each kind of wrong include."""

import os
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
SCRIPT = os.path.join(ROOT, "scripts", "check-includes")

ALLOWED = {
    "platform/foundation/Good.cpp": ['"platform/foundation/Value.h"', "<vector>", "<cstdint>"],
    "platform/services/Good.h": ['"platform/foundation/Value.h"'],
    "sim/Good.cpp": ['"sim/Box.h"', '"platform/media/TVSPlayer.h"'],
    "TVVorlane/Good.cpp": ['"TVVorlane/Session.h"', '"platform/services/Platform.h"'],
    "media/pipeline/Good.cpp": ["<gst/gst.h>", "<unistd.h>", '"platform/media/MediaEngine.h"'],
    "frames/Good.cpp": ['"frames/Bits.h"', "<sys/mman.h>"],
    "box/frames/Good.cpp": ['"frames/Bits.h"', '"box/services/support/FileDescriptor.h"'],
    "box/process/Good.cpp": ['"box/screen/Window.h"', "<sys/socket.h>"],
    "tools/vorlanectl/Good.cpp": ["<nlohmann/json.hpp>", "<poll.h>"],
    "tests/TVVorlane/Good_test.cpp": ["<gtest/gtest.h>", '"sim/Box.h"', '"TVVorlane/Session.h"'],
}

FORBIDDEN = [
    ("platform/foundation/Bad.h", '"platform/media/TVSPlayer.h"'),
    ("platform/media/Bad.cpp", '"platform/ui/views/View.h"'),
    ("platform/ui/views/Bad.h", '"TVVorlane/Session.h"'),
    ("platform/services/Bad.h", '"sim/Box.h"'),
    ("platform/Bad.h", '"platform/foundation/Value.h"'),
    ("sim/Bad.cpp", '"box/process/Box.h"'),
    ("sim/Bad.cpp", '"TVVorlane/Session.h"'),
    ("media/pipeline/Bad.cpp", '"sim/Box.h"'),
    ("media/output/Bad.cpp", '"media/pipeline/Pipeline.h"'),
    ("box/screen/Bad.cpp", '"media/pipeline/Pipeline.h"'),
    ("box/services/Bad.h", '"box/screen/Window.h"'),
    ("box/frames/Bad.h", '"box/services/dbus/DBusServer.h"'),
    ("frames/Bad.h", '"platform/foundation/Value.h"'),
    ("TVVorlane/Bad.h", '"frames/Bits.h"'),
    ("box/process/Bad.cpp", '"TVVorlane/Session.h"'),
    ("TVVorlane/Bad.h", '"box/process/Box.h"'),
    ("TVVorlane/strings/Bad.cpp", '"sim/Box.h"'),
    ("tools/vorlanectl/Bad.cpp", '"TVVorlane/Session.h"'),
    ("tests/platform/ui/Bad_test.cpp", '"TVVorlane/Session.h"'),
    ("tests/sim/Bad_test.cpp", '"TVVorlane/Session.h"'),
    ("tests/TVVorlane/Bad_test.cpp", '"box/process/Box.h"'),
    # Ways to bypass the table.
    ("platform/foundation/Bad.cpp", '"../media/TVSPlayer.h"'),
    ("sim/Bad.h", '"platform/../box/Box.h"'),
    ("sim/Bad.h", '"Box.h"'),
    ("sim/Bad.h", "WHATEVER_HEADER"),
    ("TVVorlane/Bad.h", "<box/process/Box.h>"),
    # Libraries and system headers.
    ("TVVorlane/Bad.cpp", "<unistd.h>"),
    ("platform/foundation/Bad.cpp", "<sys/socket.h>"),
    ("sim/Bad.cpp", "<gst/gst.h>"),
    ("platform/media/Bad.cpp", "<stdint.h>"),
    ("box/services/Bad.cpp", "<SDL2/SDL.h>"),
    ("tests/platform/foundation/Bad_test.cpp", "<gst/gst.h>"),
]


def check(files):
    """Returns exit status and output of the script for a tree of these files."""
    with tempfile.TemporaryDirectory() as tree:
        for path, text in files.items():
            os.makedirs(os.path.join(tree, os.path.dirname(path)), exist_ok=True)
            with open(os.path.join(tree, path), "w", encoding="utf-8") as source:
                source.write(text)
        return run(tree)


def run(*arguments):
    done = subprocess.run(
        [sys.executable, SCRIPT, *arguments], capture_output=True, text=True, check=False
    )
    return done.returncode, done.stdout + done.stderr


class CheckIncludes(unittest.TestCase):
    def test_accepts_the_source_tree(self):
        self.assertEqual(run(), (0, ""))

    def test_accepts_allowed_includes(self):
        files = {
            path: "".join(f"#include {target}\n" for target in targets)
            for path, targets in ALLOWED.items()
        }
        self.assertEqual(check(files), (0, ""))

    def test_reports_each_wrong_include_with_its_line(self):
        for path, target in FORBIDDEN:
            with self.subTest(path=path, target=target):
                status, output = check({path: f"#pragma once\n\n  # include {target}\n"})
                self.assertEqual(status, 1)
                self.assertRegex(output, rf"^{path}:3: ")
                self.assertEqual(output.count("\n"), 1)

    def test_reports_all_wrong_includes(self):
        status, output = check(
            {"sim/A.cpp": '#include "box/A.h"\n#include "box/B.h"\n', "sim/B.cpp": "#include <poll.h>\n"}
        )
        self.assertEqual(status, 1)
        self.assertEqual(
            [line.split(": ")[0] for line in output.splitlines()],
            ["sim/A.cpp:1", "sim/A.cpp:2", "sim/B.cpp:1"],
        )

    def test_ignores_comments(self):
        self.assertEqual(check({"sim/A.cpp": '// #include "box/A.h"\n'}), (0, ""))

    def test_fails_for_a_tree_without_sources(self):
        self.assertEqual(check({})[0], 1)


if __name__ == "__main__":
    unittest.main()
