#!/usr/bin/env python3
"""Checks the form of the test files: each opens with what it covers, as a table, and expects before what it got."""

import argparse
import pathlib
import re
import sys

OPENING = re.compile(r"(?:// .*\n)+//\n// \| subject +\| functional +\| robustness +\|\n// \|-+\|-+\|-+\|\n(?:// \| .* \|\n)+")
CONSTANT = r"(?:-?\d[\w']*|\"(?:\\.|[^\"\\])*\"|nullptr|true|false|(?:\w+::)*[A-Z][A-Z0-9_]+)"
LAST = re.compile(r"\b(?:EXPECT|ASSERT)_(?:EQ|NE)\(((?:[^;\"]|\"(?:\\.|[^\"\\])*\")+?),\s+%s\)(?=;| <<|\s*<<)" % CONSTANT)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--source-root", type=pathlib.Path, required=True)
    tests = parser.parse_args().source_root / "tests"
    faults = []
    for path in sorted(tests.rglob("*.cpp")):
        text = path.read_text(encoding="utf-8")
        if path.name.endswith("Test.cpp") and not (text.startswith("// Covers: ") and OPENING.match(text)):
            faults.append(f"{path}:1: it opens with '// Covers: ...' and a table of subject, functional, robustness")
        for found in LAST.finditer(text):
            first = found.group(1)
            if first.count("(") == first.count(")") and not re.fullmatch(CONSTANT, first):
                line = text.count("\n", 0, found.start()) + 1
                faults.append(f"{path}:{line}: expected before actual: {' '.join(found.group(0).split())}")
    print("\n".join(faults) or "all test files have their form")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
