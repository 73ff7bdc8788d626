#!/usr/bin/env python3
"""Prints how much of the code is test code, and fails outside the range that the project keeps to.

Counts the lines of tracked C, C++, Python and shell files that are neither blank nor comments only. Test code is
what lies under tests/ and fuzz/.
"""
import os
import subprocess
import sys

ENDINGS = (".c", ".cc", ".cpp", ".h", ".hpp", ".py", ".sh")
TEST_FOLDERS = ("tests/", "fuzz/")
LOWEST, HIGHEST = 25.0, 33.4


def code_lines(path):
    with open(path, encoding="utf-8") as file:
        lines = [line.strip() for line in file]
    if path.endswith((".py", ".sh")):
        return sum(1 for line in lines if line and not line.startswith("#"))
    count, in_comment = 0, False
    for line in lines:
        if in_comment:
            _, end, line = line.partition("*/")
            in_comment = not end
            line = line.strip()
        while line.startswith("/*"):
            _, end, line = line[2:].partition("*/")
            in_comment = not end
            line = line.strip()
        count += bool(line) and not line.startswith("//")
    return count


def main():
    # New files count before their first commit too.
    command = ["git", "-c", "safe.directory=*", "ls-files", "-z", "--cached", "--others", "--exclude-standard"]
    listing = subprocess.run(command, check=True, capture_output=True).stdout.decode()
    files = [path for path in listing.split("\0") if path.endswith(ENDINGS) and os.path.isfile(path)]
    total = sum(map(code_lines, files))
    tests = sum(code_lines(path) for path in files if path.startswith(TEST_FOLDERS))
    percent = 100.0 * tests / max(total, 1)
    print(f"Test code: {tests} of {total} lines, {percent:.1f} %")
    if not LOWEST <= percent <= HIGHEST:
        return f"outside {LOWEST} to {HIGHEST} %"
    return 0


if __name__ == "__main__":
    sys.exit(main())
