#!/usr/bin/env python3
"""Documents and completions name what the sources name.

docs/coverage.md names existing files and tests, and everything that the sources name. The table of
properties in docs/receiver-interface.md and the completions of vorlanectl have all properties.
"""

import os
import re
import unittest

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
TABLE = "docs/coverage.md"


def read(path):
    with open(os.path.join(ROOT, path), encoding="utf-8") as file:
        return file.read()


def sources(folder, suffixes):
    for here, subfolders, names in os.walk(os.path.join(ROOT, folder)):
        subfolders.sort()
        for name in sorted(names):
            if name.endswith(suffixes):
                yield read(os.path.join(here, name))


def rows():
    """Yields line number and cells of each row that is not a heading."""
    for number, line in enumerate(read(TABLE).splitlines(), 1):
        if line.startswith("|") and not re.match(r"\|[\s|-]*(done by|$)", line):
            yield number, [cell.strip() for cell in line.strip("|").split("|")]


class Coverage(unittest.TestCase):
    def test_files_and_tests_exist(self):
        count = 0
        for number, cells in rows():
            count += 1
            with self.subTest(line=number):
                self.assertEqual(len(cells), 3)
                what, done_by, held_by = cells
                self.assertTrue(what)
                self.assertRegex(done_by, r"^`[^`]+`$")
                self.assertTrue(os.path.isfile(os.path.join(ROOT, done_by.strip("`"))), done_by)
                self.assertTrue(held_by)
                for entry in held_by.split("; "):
                    self.check_test(entry)
        self.assertGreater(count, 20)

    def check_test(self, entry):
        found = re.fullmatch(r"`(tests/[^`]+)`\s*(.*)", entry)
        self.assertTrue(found, entry)
        path, names = found.groups()
        self.assertTrue(os.path.isfile(os.path.join(ROOT, path)), path)
        if path.endswith(".scenario"):
            self.assertEqual(names, "")
            return
        text = read(path)
        self.assertTrue(names, path)
        for name in names.split(", "):
            test = r"\bTEST(_F|_P)?\(\s*\w+,\s*" + re.escape(name) + r"\s*\)"
            self.assertTrue(re.search(test, text), f"{path} has no test {name}")

    def test_has_all_names_of_the_sources(self):
        table = read(TABLE)
        properties = read("TVVorlane/TVVorlaneURLSession+Properties.cpp")
        application = list(sources("TVVorlane", (".cpp", ".h")))
        kinds = {
            "calls": re.findall(
                r"\b(vorlaneUI\w+)\(", read("platform/services/VorlaneReceiverUIDelegate.h")),
            "properties": re.findall(r'property == "(\w+)"|Writer\{"(\w+)"', properties),
            "actions": [name for text in application
                        for name in re.findall(
                            r'action == "(\w+)"|(?:kTVVorlane\w+Command|Action)\s*=\s*"(\w+)"', text)],
            "events": [name for text in application
                       for name in re.findall(r'_postEvent\(\s*"(\w+)"', text)]
            + re.findall(r'return "(user\w+)"',
                         read("TVVorlane/screens/TVVorlanePresentationViewController.cpp")),
            "notifications": [name for text in application
                              for name in re.findall(r'"(quorin\.vorlane\.[\w.]+)"', text)],
            "platform notifications": [
                name for folder in ("platform/services", "platform/media", "TVVorlane")
                for text in sources(folder, ".h")
                for name in re.findall(r'=\s*"(TVS?V?\w+Notification(?:Name)?)"', text)],
        }
        for kind, found in kinds.items():
            names = {name for match in found
                     for name in ([match] if isinstance(match, str) else match) if name}
            self.assertGreater(len(names), 1, kind)
            for name in sorted(names):
                with self.subTest(kind=kind, name=name):
                    self.assertRegex(table, rf'["`]{re.escape(name)}["`]')


def body(text, name):
    """The body of a member function."""
    return re.search(rf"::{name}\(.*?\n}}\n", text, re.DOTALL).group()


class Properties(unittest.TestCase):
    def setUp(self):
        text = read("TVVorlane/TVVorlaneURLSession+Properties.cpp")
        name = r'property == "(\w+)"'
        self.readable = set(re.findall(name, body(text, "_readProperty")))
        self.writable = set(re.findall(r'Writer{"(\w+)"', text))
        self.writable |= set(re.findall(name, body(text, "_writeProperty")))
        self.assertGreater(len(self.readable), 3)
        self.assertGreater(len(self.writable), 3)

    def test_interface_has_all_with_their_access(self):
        table = re.search(r"\n\| property \| access \|.*?\n\n", read("docs/receiver-interface.md"),
                          re.DOTALL).group()
        documented = {"read": set(), "write": set()}
        for names, access in re.findall(r'^\| ("[^|]*) \| ([^|]*) \|', table, re.MULTILINE):
            for each in access.split(", "):
                documented[each] |= set(re.findall(r'"(\w+)"', names))
        self.assertEqual(documented["read"], self.readable)
        self.assertEqual(documented["write"], self.writable)

    def test_completions_have_all(self):
        lists = {
            "vorlanectl.bash": r'\n *{}\) words="(.*?)"',
            "_vorlanectl": r"\n *{}\) _values property (.*?);;",
            "vorlanectl.fish": r"_from {}' -a '(.*?)'",
        }
        for file, pattern in lists.items():
            text = read("tools/vorlanectl/completions/" + file)
            for command, names in (("get", self.readable), ("set", self.writable)):
                with self.subTest(file=file, command=command):
                    words = re.search(pattern.format(command), text, re.DOTALL).group(1)
                    self.assertEqual(set(re.findall(r"(?<![\w-])\w+", words)), names)


if __name__ == "__main__":
    unittest.main()
