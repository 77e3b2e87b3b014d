"""What the programs of the benchmark cost, by valgrind's instruction counter and by their own counting.

Instructions are the difference between a run with COUNT operations and one with twice as many: what remains belongs to the
operations alone, and is the same whatever else the machine does.
"""
import collections
import concurrent.futures
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

# The libraries of this project. What they do is its own cost; the rest is the bench, the C library and the loader.
OWN_LIBRARY = re.compile(r"/libKQAPI_\w+\.so[.\d]*$")

Instructions = collections.namedtuple("Instructions", "own total")


def output_of(*command, libraries=None):
    """libraries: a folder in which a program finds libraries before it looks in its own."""
    environment = {**os.environ, "LD_LIBRARY_PATH": str(libraries)} if libraries else None
    result = subprocess.run(command, capture_output=True, text=True, env=environment)
    if result.returncode != 0:
        sys.exit(f"{' '.join(command)}\n{result.stderr}")
    return result.stdout


def instructions(command, count, *options, within=None, libraries=None):
    """Instructions of one operation.

    within: a pattern of functions; only what runs between their call and their return is counted.
    """
    once, twice = (count_once([*command, str(number), *options], within, libraries) for number in (count, 2 * count))
    return Instructions(*((b - a) / count for a, b in zip(once, twice)))


def count_once(command, within, libraries):
    with tempfile.NamedTemporaryFile("r", prefix="tavo-callgrind-") as file:
        selection = [f"--toggle-collect={within}"] if within else []
        output_of("valgrind", "--tool=callgrind", f"--callgrind-out-file={file.name}", *selection, *map(str, command),
                  libraries=libraries)
        by_object = costs_by_object(file)
    own = sum(cost for name, cost in by_object.items() if OWN_LIBRARY.search(name))
    return Instructions(own, sum(by_object.values()))


def costs_by_object(lines):
    """The cost of the functions of each program and library themselves, out of what callgrind wrote."""
    names = {}
    costs = collections.Counter()
    current = ""
    is_of_callee = False
    total = None
    for line in lines:
        key, _, value = line.strip().partition("=")
        if key in ("ob", "cob"):
            number, _, name = value.partition(" ")
            names.setdefault(number, name)
            current = names[number] if key == "ob" else current
        elif key == "calls":
            is_of_callee = True  # the line that follows counts what was called, which counts itself
        elif key[:1] in "+-*0123456789" and key:
            fields = key.split()
            costs[current] += int(fields[1]) if len(fields) > 1 and not is_of_callee else 0
            is_of_callee = False
        elif key.startswith("totals:"):
            total = int(key.split()[1])
    if sum(costs.values()) != total:
        sys.exit(f"callgrind counted {total} instructions, its functions have {sum(costs.values())}")
    return costs


def in_parallel(function, items):
    """The results of function(item), in the order of the items."""
    with concurrent.futures.ThreadPoolExecutor(int(os.environ.get("JOBS") or os.cpu_count())) as pool:
        return list(pool.map(function, items))


def compiler_of(build):
    """The compiler of a build directory, in the words that it has for itself."""
    cache = (Path(build) / "CMakeCache.txt").read_text()
    program = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.*)$", cache, re.MULTILINE).group(1)
    return output_of(program, "--version").splitlines()[0]
