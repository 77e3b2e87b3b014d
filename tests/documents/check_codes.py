#!/usr/bin/env python3
"""Compares the tables of docs/codes.md with the headers: each code and name, none missing, none made up."""

import argparse
import pathlib
import re
import sys

CONSTANT = re.compile(r"^inline constexpr int ((?:KQ|SDO_ABORT)_\w+) = (\w+);", re.MULTILINE)
ROW = re.compile(r"^\| (\w+) \| ((?:KQ|SDO_ABORT)_\w+) \| .*\S.* \|$", re.MULTILINE)
HEADERS = ("include/KQSDOAbortCode.h", "runtime/common/include/KQErrorCodes.h")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--source-root", required=True, type=pathlib.Path)
    root = parser.parse_args().source_root
    declared = {name: int(code, 0) for header in HEADERS for name, code in CONSTANT.findall((root / header).read_text())}
    rows = [(name, int(code, 0)) for code, name in ROW.findall((root / "docs/codes.md").read_text(encoding="utf-8"))]
    problems = [f"{name} is there twice" for name in {name for name, _ in rows if [one for one, _ in rows].count(name) > 1}]
    described = dict(rows)
    for name in sorted(declared.keys() | described.keys()):
        if declared.get(name) != described.get(name):
            problems.append(f"{name}: {declared.get(name)} in the headers, {described.get(name)} in the table")
    if len(declared) < 30:
        problems.append("the headers were not understood")
    print("\n".join(problems))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
