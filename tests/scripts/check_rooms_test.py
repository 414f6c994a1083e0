#!/usr/bin/env python3
"""scripts/check-rooms accepts the source tree, reports what exceeds a limit, and counts data members."""

import importlib.machinery
import importlib.util
import os
import subprocess
import tempfile
import unittest

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
SCRIPT = os.path.join(ROOT, "scripts", "check-rooms")

CLASSES = {
    "class A { int a, b; std::map<int, int> c; bool d : 1; };": {"A": 4},
    "struct A { int a = f(1, 2); std::vector<int> b{1, 2}; mutable std::mutex c; int d[2]; };": {"A": 4},
    "class A { static int a; using B = int; friend class C; enum D { E, F }; struct G; };": {"A": 0},
    "class A final : public B<int> { public: A() : a(1) {} void f(int x = 3) { int y; } int a; };":
        {"A": 1},
    "struct A { std::function<void(int, int)> a = [] { int x; }; int b; };": {"A": 2},
    "struct A { bool operator==(const A&) const = default; bool operator<(A b) { return a; } int a; };":
        {"A": 1},
    "struct A { struct B { int c; int d; } b; [[nodiscard]] bool f(); int a; };": {"A": 2, "B": 2},
    "template <typename T> class A { T a; // int b;\n /* int c; */ std::string d = \"; int e;\"; };":
        {"A": 2},
    "namespace n { int a; void f() { int b; } class A { int c; }; }": {"A": 1},
}


def load():
    loader = importlib.machinery.SourceFileLoader("check_rooms", SCRIPT)
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("check_rooms", loader))
    loader.exec_module(module)
    return module


def check(files):
    """Returns the output of the script for a tree of these files."""
    with tempfile.TemporaryDirectory() as tree:
        for path, text in files.items():
            os.makedirs(os.path.join(tree, os.path.dirname(path)), exist_ok=True)
            with open(os.path.join(tree, path), "w", encoding="utf-8") as source:
                source.write(text)
        return subprocess.run([SCRIPT, tree], capture_output=True, text=True, check=False).stdout


class CheckRooms(unittest.TestCase):
    def test_accepts_the_source_tree(self):
        done = subprocess.run([SCRIPT, ROOT], capture_output=True, text=True, check=False)
        self.assertEqual((done.returncode, done.stdout), (0, ""))

    def test_reports_what_exceeds_a_limit(self):
        members = "".join(f"int a{i};" for i in range(21))
        found = check({
            "box/a/README.md": "",
            "box/a/Long.cpp": "\n" * 401,
            "box/a/Wide.h": f"class Wide {{ {members} }};",
            "sim/README.md": "",
            **{f"sim/{i}.h": "" for i in range(41)},
            "tools/Lone.cpp": "",
            "tests/Lone.cpp": "",
        })
        self.assertEqual(found.splitlines(), [
            "box/a/Long.cpp: 401 lines, 400 at most",
            "box/a/Wide.h:Wide: 21 data members, 20 at most",
            "sim: 41 sources, 40 at most",
            "tools: no README.md",
        ])

    def test_counts_data_members(self):
        module = load()
        for source, expected in CLASSES.items():
            with self.subTest(source=source):
                self.assertEqual(dict(module.classes(source)), expected)


if __name__ == "__main__":
    unittest.main()
