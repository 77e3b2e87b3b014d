#!/usr/bin/env python3
"""What the stack library calls of the five runtime libraries.

  print  the operations that it imports, by library: a list to read
  board  the stack that was built against the runtime of tests/board imports exactly the operations that the document
         lists: there, every operation is a symbol
  host   the stack that was built against the host edition imports no others, but for what the inline functions of that
         edition call underneath, each of which stands with its reason in the file that --also names

The document lists an operation as a row of a table whose first column is titled "operation", below a heading with the
name of the library and one with the name of the class (or "Functions").
"""

import argparse
import pathlib
import re
import subprocess
import sys

LIBRARY_HEADING = re.compile(r"^## `(libKQAPI_\w+)`")
CLASS_HEADING = re.compile(r"^### `?(\w+)`?")
OPERATION = re.compile(r"`([^`]+)`")
STANDARD_STRING = "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >"
DEFAULT_ARGUMENTS_OF_MAP = re.compile(r", std::less<\w+>, std::allocator<std::pair<[^<>]*> > >")
# A class that is inherited from or copied brings these along; whether they show depends on the compiler.
OF_THE_LANGUAGE = re.compile(r"^(vtable|typeinfo|typeinfo name|VTT|construction vtable) for ")
THUNK = re.compile(r"^(non-virtual|virtual) thunk to ")


def symbols_of(nm, library, kind):
    output = subprocess.run((nm, "-D", kind, str(library)), check=True, capture_output=True, text=True).stdout
    return {line.split()[-1].split("@")[0] for line in output.splitlines()}


def readable(symbols):
    """Names as they stand in the source, each with its namespace and the parameters of a function."""
    output = subprocess.run(("c++filt",), input="\n".join(symbols), check=True, capture_output=True, text=True).stdout
    names = set()
    for name in output.splitlines():
        if not OF_THE_LANGUAGE.match(name):
            name = THUNK.sub("", name).replace("[abi:cxx11]", "").replace(STANDARD_STRING, "std::string")
            names.add(DEFAULT_ARGUMENTS_OF_MAP.sub(">", name).replace("KQ::", ""))
    return names


def imports_by_library(arguments):
    undefined = symbols_of(arguments.nm, arguments.stack_library, "--undefined-only")
    imports = {}
    for library in arguments.runtime:
        defined = symbols_of(arguments.nm, library, "--defined-only")
        # Of the standard library's templates each library has a copy.
        own = {symbol for symbol in undefined & defined if "2KQ" in symbol}
        imports[pathlib.Path(library).stem] = readable(own)
    if not any(imports.values()):
        raise SystemExit("no import found: is this the stack library?")
    return imports


def documented(document):
    """Operations by library, from the tables of the document."""
    operations = {}
    library = klass = None
    is_list = False
    for line in pathlib.Path(document).read_text(encoding="utf-8").splitlines():
        if match := LIBRARY_HEADING.match(line):
            library = operations.setdefault(match.group(1), set())
        elif line.startswith("## "):
            library = None
        elif match := CLASS_HEADING.match(line):
            klass = match.group(1)
        elif not line.startswith("|"):
            is_list = False
        elif line.startswith("| operation "):
            is_list = library is not None
        elif is_list:
            first_column = line.split("|")[1]
            prefix = "" if klass == "Functions" else klass + "::"
            library.update(prefix + name for name in OPERATION.findall(first_column))
    return operations


def print_imports(arguments):
    for library, names in imports_by_library(arguments).items():
        print(library)
        for name in sorted(names):
            print("  " + name)
    return []


def check_board(arguments):
    listed = documented(arguments.document)
    imports = imports_by_library(arguments)
    problems = [f"{library}: the document lists a library that is none" for library in listed.keys() - imports.keys()]
    for library, names in imports.items():
        known = listed.get(library, set())
        problems += [f"{library}: called by the stack, not in {arguments.document}: {name}" for name in names - known]
        problems += [f"{library}: in {arguments.document}, not called by the stack: {name}" for name in known - names]
    return problems


def check_host(arguments):
    known = set().union(*documented(arguments.document).values())
    also = {}
    for line in pathlib.Path(arguments.also).read_text(encoding="utf-8").splitlines():
        if line and not line.startswith("#"):
            name, _, reason = line.partition(" -- ")
            also[name.strip()] = reason.strip()
    problems = [f"{arguments.also}: no reason for {name}" for name, reason in also.items() if not reason]
    problems += [f"{arguments.also}: in {arguments.document} already: {name}" for name in known & also.keys()]
    offered = set()
    for library in arguments.runtime:
        offered |= readable(symbols_of(arguments.nm, library, "--defined-only"))
    problems += [f"{arguments.also}: no longer in the host edition: {name}" for name in also.keys() - offered]
    for library, names in imports_by_library(arguments).items():
        problems += [f"{library}: neither in {arguments.document} nor in {arguments.also}: {name}"
                     for name in names - known - also.keys()]
    return problems


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    commands = {"print": print_imports, "board": check_board, "host": check_host}
    parser.add_argument("command", choices=commands)
    parser.add_argument("--library", dest="stack_library", required=True, help="the stack library")
    parser.add_argument("--runtime", action="append", default=[], help="a runtime library")
    parser.add_argument("--document", help="the document that lists the operations")
    parser.add_argument("--also", help="what the host edition's inline functions call")
    parser.add_argument("--nm", default="nm")
    arguments = parser.parse_args()
    problems = commands[arguments.command](arguments)
    for problem in sorted(problems):
        print(problem, file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
