#!/usr/bin/env python3
"""The printers of tools/gdb print the value types in gdb.

usage: gdb_printers_test.py COMPILER
Exits 77 (skipped) where gdb cannot run a program.
"""

import os
import subprocess
import sys
import tempfile

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
SKIPPED = 77
SOURCES = ["Array", "Date", "Describe", "Dictionary", "Error", "Number", "Object", "Utf8", "Value"]

PROGRAM = "".join(f'#include "platform/foundation/{source}.cpp"\n' for source in SOURCES) + """
#include <cstdlib>
namespace platform {
void assertionFailed(std::string_view, std::string_view, std::string_view) { std::abort(); }
}
struct Session : platform::Object { std::string className() const override { return "Session"; } };
void stopHere() {}
int main() {
  using namespace platform;
  Value none, null = Value::null(), string = "a \\"word\\"", yes = true, half = 0.5, big = std::uint64_t(1) << 63;
  Value data = Bytes(3), date = Date{0}, array = Array{1, "two"}, object = std::shared_ptr<Object>(new Session);
  Dictionary empty, nested{{"rate", 1.0}, {"items", Array{Dictionary{{"uuid", "first"}}}}};
  Error error{"TVSMediaErrorDomain", -11828, "No such format.", {}, {}};
  stopHere();
}
"""

EXPECTED = {
    "none": "(none)",
    "null": "<null>",
    "string": '"a \\"word\\""',
    "yes": "YES",
    "half": "0.5",
    "big": "9223372036854775808",
    "data": "<3 bytes>",
    "date": "1970-01-01 00:00:00 +0000",
    "array": 'Array of 2 = {1, "two"}',
    "object": "<Session: ADDRESS>",
    "empty": "Dictionary of 0",
    "nested": 'Dictionary of 2 = {["rate"] = 1, ["items"] = Array of 1 = {Dictionary of 1 = {["uuid"] = "first"}}}',
    "error": 'Error Domain=TVSMediaErrorDomain Code=-11828 "No such format."',
}


def gdb(*arguments):
    return subprocess.run(["gdb", "-nx", "-batch", *arguments], cwd=ROOT, capture_output=True, text=True, check=False)


def main():
    with tempfile.TemporaryDirectory() as folder:
        program = os.path.join(folder, "program")
        with open(program + ".cpp", "w", encoding="utf-8") as source:
            source.write(PROGRAM)
        subprocess.run([sys.argv[1], "-std=c++20", "-g", "-O0", "-I", ROOT, program + ".cpp", "-o", program], check=True)
        commands = [f"print {name}" for name in EXPECTED]
        options = ["source .gdbinit", "set print pretty off", "set disable-randomization off", "break stopHere", "run", "up"]
        try:
            done = gdb(*(word for command in options + commands for word in ("-ex", command)), program)
        except FileNotFoundError:
            print("there is no gdb")
            return SKIPPED
    if "Breakpoint 1, stopHere" not in done.stdout:
        print(done.stdout + done.stderr + "gdb cannot run a program here")
        return SKIPPED
    printed = [line.split(" = ", 1)[1] for line in done.stdout.splitlines() if line.startswith("$")]
    problems = [] if len(printed) == len(EXPECTED) else [done.stdout + done.stderr]
    for (name, expected), line in zip(EXPECTED.items(), printed):
        before, _, after = expected.partition("ADDRESS")
        if not (line == expected or after and line.startswith(before) and line.endswith(after)):
            problems.append(f"{name}: {line}, not {expected}")
    print("\n".join(problems))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
