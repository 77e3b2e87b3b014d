#!/usr/bin/env python3
"""Checks what the documents name. Two checks, each its own test:

  suites  every test suite that a document names is one of the test programs: in docs/decisions, what stands between
          backquotes in the column "test" of a table; everywhere, what looks like `Suite.Test`. A star stands for
          anything; a suite with parameters is named without its prefix.
  paths   every file that a document names between backquotes, or links to, exists
"""

import argparse
import fnmatch
import pathlib
import re
import subprocess
import sys

BACKQUOTED = re.compile(r"`([^`]+)`")
LINK = re.compile(r"\]\(([^)#:\s]+)(?:#[^)\s]*)?\)")
FENCED = re.compile(r"^```.*?^```", re.MULTILINE | re.DOTALL)
# A block that is a file of the reader's own: ```python client.py
OWN_FILE = re.compile(r"^```\w+ ([\w-]+\.\w+)$", re.MULTILINE)
TEST = re.compile(r"^([A-Z]\w+)\.[A-Z]\w+$")
# With a slash, and nothing that no path of this project has. What is built is not looked for.
PATH = re.compile(r"^(?!build/)[\w.*-]+(/[\w.*-]+)+/?$")
SOURCES = ("bench", "canopen", "cmake", "device_description", "device_description", "examples", "include", "monitor", "panel", "runtime", "scripts", "tests", "tools")
FILE = re.compile(r"^[\w-]+\.(md|h|cpp|py|sh|cmake|txt)$")


def documents(root):
    found = [root / name for name in ("README.md", "CONTRIBUTING.md")] + sorted((root / "docs").rglob("*.md"))
    return [(path, FENCED.sub("", path.read_text(encoding="utf-8"))) for path in found]


def own_files(path):
    return set(OWN_FILE.findall(path.read_text(encoding="utf-8")))


def cells_of_tests(text):
    """The cells of every column that is headed "test"."""
    column = None
    for line in text.splitlines():
        if not line.startswith("|"):
            column = None
            continue
        cells = [cell.strip() for cell in line.strip().strip("|").split("|")]
        if column is None:
            column = cells.index("test") if "test" in cells else len(cells)
        elif column < len(cells):
            yield cells[column]


def named_suites(path, text):
    if path.parent.name == "decisions":
        for cell in cells_of_tests(text):
            if set(cell) <= set("-: "):
                continue
            names = BACKQUOTED.findall(cell)
            yield from names or [cell]
    for name in BACKQUOTED.findall(text):
        match = TEST.match(name)
        if match:
            yield match.group(1)


def suites_of(programs):
    suites = set()
    for program in programs:
        listing = subprocess.run([program, "--gtest_list_tests"], check=True, capture_output=True, text=True).stdout
        for line in listing.splitlines():
            match = re.match(r"^(?:\w+/)?(\w+)(?:/\d+)?\.(\s|$)", line)
            if match:
                suites.add(match.group(1))
    if not suites:
        raise SystemExit("the test programs list no suite")
    return suites


def check_suites(root, programs):
    suites = suites_of(programs)
    problems = []
    for path, text in documents(root):
        for name in named_suites(path, text):
            if not fnmatch.filter(suites, name):
                problems.append(f"{path.relative_to(root)}: no test suite is named {name}")
    return problems


def exists(root, folder, name):
    return any(next(base.glob(name.rstrip("/")), None) is not None for base in (root, folder))


def check_paths(root):
    problems = []
    for path, text in documents(root):
        named = set(BACKQUOTED.findall(text)) - own_files(path)
        names = sorted(name for name in named if PATH.match(name) or FILE.match(name))
        for name in names + LINK.findall(text):
            known = exists(root, path.parent, name)
            # A header or source may be named alone.
            if not known and FILE.match(name):
                known = any(next((root / part).rglob(name), None) is not None for part in SOURCES)
            if not known:
                problems.append(f"{path.relative_to(root)}: {name} does not exist")
    return problems


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("check", choices=("suites", "paths"))
    parser.add_argument("--source-root", required=True, type=pathlib.Path, help="root of the source tree")
    parser.add_argument("--program", action="append", default=[], help="a test program")
    arguments = parser.parse_args()
    root = arguments.source_root
    problems = check_suites(root, arguments.program) if arguments.check == "suites" else check_paths(root)
    for problem in problems:
        print(problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
