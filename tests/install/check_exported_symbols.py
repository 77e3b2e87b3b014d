#!/usr/bin/env python3
"""Checks what shared libraries show: nothing but what their headers declare.

  check_exported_symbols.py [--nm NM] --headers FOLDER... LIBRARY...

The classes, free functions and variables of the namespace KQ that stand in a header of a folder, and for classes their vtables and type information. What the libraries use of their own stays inside, and so do their copies of the
standard library's templates. Each class with a vtable of which a library shows an operation shows its type information
as well: exceptions and dynamic_cast need one for all libraries.
"""

import argparse
import pathlib
import re
import subprocess
import sys

CLASS = re.compile(r"^\s*(?:class|struct)\s+(?:\[\[\w+\]\]\s+)?(\w+)[^;{]*\{", re.MULTILINE)
FREE = re.compile(r"^(?:extern |inline |constexpr |const )*[\w:]+[\s*&]+(?:const )?(\w+)(?:\(| =|;)", re.MULTILINE)
# As it is mangled: what is made for a class, or an adjustment of "this"; then the length of the name and the name.
SYMBOL = re.compile(r"^_Z(?P<made>T[ISTV]|Th\w+?_)?NK?2KQ(?P<length>\d+)(?P<rest>\w+)$")


def shown_symbols(nm, library):
    lines = subprocess.run([nm, "-D", "--defined-only", library], check=True, capture_output=True, text=True).stdout
    return {line.split()[2] for line in lines.splitlines()}


def is_declared(symbol, classes, free):
    match = SYMBOL.match(symbol)
    if match is None:
        return False
    length = int(match["length"])
    is_free = match["made"] is None and match["rest"][length:].startswith("E")
    return match["rest"][:length] in (free if is_free else classes)


def problems_of(symbols, classes, free):
    if not symbols:
        yield "shows nothing"
    for symbol in sorted(symbols):
        if not is_declared(symbol, classes, free):
            yield f"not declared in a header: {symbol}"
        elif symbol.startswith("_ZTV") and symbol.replace("_ZTV", "_ZTI", 1) not in symbols:
            yield f"without its type information: {symbol}"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--nm", default="nm")
    parser.add_argument("--headers", action="append", type=pathlib.Path, required=True)
    parser.add_argument("libraries", metavar="LIBRARY", nargs="+")
    arguments = parser.parse_args()
    headers = [path for folder in arguments.headers for path in sorted(folder.rglob("*.h"))]
    text = "\n".join(path.read_text(encoding="utf-8") for path in headers)
    classes, free = set(CLASS.findall(text)), set(FREE.findall(text))
    problems = [
        f"{library}: {problem}"
        for library in arguments.libraries
        for problem in problems_of(shown_symbols(arguments.nm, library), classes, free)
    ]
    if len(classes) < 50:
        problems.append("the headers were not understood")
    for problem in problems:
        print(problem, file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
