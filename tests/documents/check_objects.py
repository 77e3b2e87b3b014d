#!/usr/bin/env python3
"""Compares the tables of docs/objects.md with what a fresh node says of itself; with --update, writes them."""

import argparse
import difflib
import pathlib
import subprocess
import sys


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--program", required=True, help="the program print_objects")
    parser.add_argument("--document", required=True, type=pathlib.Path)
    parser.add_argument("--update", action="store_true")
    arguments = parser.parse_args()
    tables = subprocess.run([arguments.program], check=True, capture_output=True, text=True).stdout
    marker = tables.splitlines(keepends=True)[0]
    text = arguments.document.read_text(encoding="utf-8")
    introduction, found, present = text.partition(marker)
    if arguments.update:
        arguments.document.write_text(introduction + tables, encoding="utf-8")
        return 0
    difference = list(difflib.unified_diff((found + present).splitlines(), tables.splitlines(), "the document", "the node",
                                           lineterm="", n=0))
    print("\n".join(difference))
    return 1 if difference else 0


if __name__ == "__main__":
    sys.exit(main())
