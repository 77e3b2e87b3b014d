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
# What stands in front of a symbol that the compiler makes for a class.
OF_CLASS = re.compile(r"^(typeinfo|typeinfo name|vtable|VTT) for |^(?:non-virtual|virtual) thunk to ")
NAME = re.compile(r"^KQ::(\w+)")


def shown_symbols(nm, library):
    lines = subprocess.run(
        [nm, "--dynamic", "--defined-only", "--demangle", library], check=True, capture_output=True, text=True
    ).stdout.splitlines()
    return {line.split(maxsplit=2)[2] for line in lines}


def problems_of(symbols, classes, free):
    for symbol in sorted(symbols):
        name = NAME.match(OF_CLASS.sub("", symbol))
        is_member = name is not None and (OF_CLASS.match(symbol) or symbol.startswith(name.group(0) + "::"))
        if name is None or name.group(1) not in (classes if is_member else free | classes):
            yield f"not declared in a header: {symbol}"
        elif symbol.startswith("vtable for ") and symbol.replace("vtable", "typeinfo", 1) not in symbols:
            yield f"without its type information: {symbol}"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--nm", default="nm")
    parser.add_argument("--headers", action="append", type=pathlib.Path, required=True)
    parser.add_argument("library", nargs="+")
    arguments = parser.parse_args()
    headers = [path for folder in arguments.headers for path in sorted(folder.rglob("*.h"))]
    text = "\n".join(path.read_text(encoding="utf-8") for path in headers)
    classes, free = set(CLASS.findall(text)), set(FREE.findall(text))
    shown = {library: shown_symbols(arguments.nm, library) for library in arguments.library}
    problems = [f"{library}: {problem}" for library, symbols in shown.items() for problem in problems_of(symbols, classes, free)]
    problems += [f"{library}: shows nothing" for library, symbols in shown.items() if not symbols]
    if len(classes) < 50:
        problems.append("the headers were not understood")
    print("\n".join(problems), file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
