#!/usr/bin/env python3
"""Links in the documents lead somewhere, and the paths and identifiers that they name exist."""

import os
import re
import subprocess
import unittest

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
LINK = re.compile(r"\]\(([^)#\s]*)(#[^)\s]*)?\)")
NAMED = re.compile(r"`([\w.+-]+(?:/[\w.+-]+)+)`")
CODE = re.compile(r"^```.*?^```", re.S | re.M)
IDENTIFIER = re.compile(r"`(\w*[a-z]\w*[A-Z]\w*)(?:\(\))?`")
FOREIGN = {"InhibitDelayMaxSec"}
# A class may be named without its ending.
ENDINGS = ("", ".h", ".cpp", ".py")


def documents():
    names = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard", "*.md"], cwd=ROOT,
                           check=True, capture_output=True, text=True).stdout.split()
    return [name for name in names if os.path.isfile(os.path.join(ROOT, name))]


def read(name):
    with open(os.path.join(ROOT, name), encoding="utf-8") as file:
        return file.read()


def anchors(text):
    headings = re.findall(r"^#+ (.*)", CODE.sub("", text), re.M)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).strip().replace(" ", "-") for heading in headings}


class Documents(unittest.TestCase):
    def test_links_lead_somewhere(self):
        count = 0
        for document in documents():
            for target, anchor in LINK.findall(CODE.sub("", read(document))):
                if re.match(r"[a-z]+:", target):
                    continue
                count += 1
                with self.subTest(document=document, link=target + anchor):
                    path = os.path.normpath(os.path.join(os.path.dirname(document), target)) if target else document
                    self.assertTrue(os.path.exists(os.path.join(ROOT, path)), path)
                    if anchor:
                        self.assertIn(anchor[1:], anchors(read(path)))
        self.assertGreater(count, 40)

    def test_named_paths_exist(self):
        count = 0
        tops = {name for name in os.listdir(ROOT) if os.path.isdir(os.path.join(ROOT, name))} - {"build"}
        for document in documents():
            for path in NAMED.findall(CODE.sub("", read(document))):
                if path.split("/")[0] not in tops:
                    continue
                count += 1
                with self.subTest(document=document, path=path):
                    self.assertTrue(any(os.path.exists(os.path.join(ROOT, path + ending)) for ending in ENDINGS))
        self.assertGreater(count, 100)

    def test_named_identifiers_exist(self):
        words = set(subprocess.run(["git", "grep", "-hIoE", r"\w*[a-z]\w*[A-Z]\w*", "--", ".", ":!*.md"], cwd=ROOT,
                                   check=True, capture_output=True, text=True).stdout.split())
        count = 0
        for document in documents():
            for name in IDENTIFIER.findall(CODE.sub("", read(document))):
                count += 1
                with self.subTest(document=document, name=name):
                    self.assertTrue(name in words or name in FOREIGN)
        self.assertGreater(count, 100)


if __name__ == "__main__":
    unittest.main()
