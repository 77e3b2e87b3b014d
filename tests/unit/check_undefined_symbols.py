#!/usr/bin/env python3
"""Checks what the stack library depends on.

The stack links the five runtime libraries and the standard library, nothing else, and no runtime library
knows the stack. Three checks, each its own test:

  symbols   every symbol that the stack library imports is defined by an allowed library (which operations of the
            runtime libraries these may be, tests/board/imports.py checks)
  needed    the libraries that the stack library asks the loader for are allowed ones
  includes  no source of a runtime library includes a header of the stack, and the stack includes only its
            own headers, those of the runtime libraries and those of the standard library
"""

import argparse
import pathlib
import re
import subprocess
import sys

SYSTEM_LIBRARIES = re.compile(r"^(libstdc\+\+|libgcc_s|libc|libm|ld-linux[a-z0-9_-]*)\.so(\.\d+)*$")
SANITIZER_LIBRARIES = re.compile(r"^lib(asan|ubsan|tsan|clang_rt\.[a-z0-9_.-]+)\.so(\.\d+)*$")
SANITIZER_SYMBOLS = re.compile(r"^_*(asan|ubsan|tsan|sanitizer)_")
INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]')


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def dynamic_symbols(nm, library, kind):
    """Names of the dynamic symbols of a library without their version; weak undefined ones are optional."""
    names = set()
    for line in output_of(nm, "-D", kind, str(library)).splitlines():
        fields = line.split()
        symbol_type, name = fields[-2], fields[-1].split("@")[0]
        if kind == "--undefined-only" and symbol_type in "wv":
            continue
        names.add(name)
    return names


def check_symbols(arguments):
    allowed = set()
    for library in arguments.runtime + arguments.system:
        allowed |= dynamic_symbols(arguments.nm, library, "--defined-only")
    undefined = dynamic_symbols(arguments.nm, arguments.stack_library, "--undefined-only")
    foreign = undefined - allowed
    if arguments.sanitizer:
        foreign = {name for name in foreign if not SANITIZER_SYMBOLS.match(name)}
    if not undefined:
        return ["no undefined symbol found: is this the stack library?"]
    return [f"undefined symbol of no allowed library: {name}" for name in sorted(foreign)]


def check_needed(arguments):
    runtime = {pathlib.Path(library).name for library in arguments.runtime}
    needed = re.findall(r"\(NEEDED\).*\[(.+)\]", output_of(arguments.readelf, "-d", "-W", arguments.stack_library))
    if not needed:
        return ["no needed library found: is this a shared library?"]
    return [
        f"needs a library that is not allowed: {name}"
        for name in needed
        if name not in runtime
        and not SYSTEM_LIBRARIES.match(name)
        and not (arguments.sanitizer and SANITIZER_LIBRARIES.match(name))
    ]


def sources_below(folder):
    files = [path for path in sorted(folder.rglob("*")) if path.suffix in (".h", ".hpp", ".cpp", ".inc")]
    if not files:
        raise SystemExit(f"no source below {folder}")
    return files


def includes_of(path):
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), start=1):
        match = INCLUDE.match(line)
        if match:
            yield number, match.group(1) == '"', match.group(2)


def headers_below(folder):
    """As an #include names them: those in the folder "internal" with it."""
    return {path.relative_to(folder).as_posix() for path in folder.rglob("*.h")}


def check_includes(arguments):
    root = pathlib.Path(arguments.source_root)
    stack_headers = headers_below(root / "include")
    common_headers = {path.name for path in (root / "canopen" / "common").glob("*.h")}
    runtime_headers = set().union(*map(headers_below, (root / "runtime").glob("*/include")))
    problems = []
    for path in sources_below(root / "runtime"):
        for number, _, name in includes_of(path):
            if name in stack_headers or pathlib.PurePosixPath(name).name in common_headers:
                problems.append(f"{path}:{number}: a runtime library includes {name} of the stack")
    for path in sources_below(root / "include") + sources_below(root / "canopen"):
        # What the stack's folders share among them is not part of what is installed.
        shared = common_headers if (root / "canopen") in path.parents else set()
        for number, quoted, name in includes_of(path):
            own = (path.parent / name).is_file() and "/" not in name
            known = own or name in stack_headers or name in runtime_headers or name in shared
            if (quoted and not known) or (not quoted and ("/" in name or "." in name)):
                problems.append(f"{path}:{number}: the stack includes {name}")
    return problems


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("check", choices=("symbols", "needed", "includes"))
    parser.add_argument("--source-root", help="root of the source tree")
    parser.add_argument("--library", dest="stack_library", help="the stack library")
    parser.add_argument("--runtime", action="append", default=[], help="a runtime library")
    parser.add_argument("--system", action="append", default=[], help="a library of the compiler or of the system")
    parser.add_argument("--nm", default="nm")
    parser.add_argument("--readelf", default="readelf")
    parser.add_argument("--sanitizer", action="store_true", help="built with a sanitizer")
    arguments = parser.parse_args()
    checks = {"symbols": check_symbols, "needed": check_needed, "includes": check_includes}
    problems = checks[arguments.check](arguments)
    for problem in problems:
        print(problem, file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
