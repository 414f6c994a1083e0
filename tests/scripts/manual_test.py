#!/usr/bin/env python3
"""The manual pages have the same options and commands as --help.

usage: manual_test.py TVVORLANE VORLANECTL [TVVORLANE-UPNP]
"""

import os
import re
import subprocess
import sys

PAGES = os.path.join(os.path.dirname(__file__), "..", "..", "packaging", "man")
OPTION = re.compile(r"(?<![\w-])--[a-z][a-z-]*")


def help_of(*command):
    return subprocess.run([*command, "--help"], check=True, capture_output=True, text=True).stdout


def page(name):
    with open(os.path.join(PAGES, name), encoding="utf-8") as source:
        return source.read().replace("\\-", "-").replace("\\&", "")


def main():
    box, control = sys.argv[1:3]
    command_list = help_of(control)
    commands = re.findall(r"^  ([a-z][a-z-]*)", command_list, re.MULTILINE)
    assert len(commands) > 20, "cannot find the commands in --help"
    helps = {
        "tvvorlane.1": help_of(box),
        "vorlanectl.1": command_list + "".join(help_of(control, name) for name in commands),
    }
    if len(sys.argv) > 3:
        helps["tvvorlane-upnp.1"] = help_of(sys.argv[3]) + "--help"
    problems = []
    for name, text in helps.items():
        said, written = set(OPTION.findall(text)), set(OPTION.findall(page(name)))
        problems += [f"{name}: {option} is missing" for option in sorted(said - written)]
        problems += [f"{name}: there is no {option}" for option in sorted(written - said)]
    headings = re.findall(r'^\.B "([a-z-]+)', page("vorlanectl.1"), re.MULTILINE)
    if headings != commands:
        problems.append(f"vorlanectl.1: the commands are {commands}, not {headings}")
    print("\n".join(problems))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
