#!/usr/bin/python3
"""Runs the node against clients that others wrote, and prints what was shown of CiA 301, service by service.

    TAVO_PANEL=.../bin/tavo-panel conformance.py [--jobs N] [--write]

Every test that says what it shows (features.py) is run, class by class and file by file, side by side. What fails is repeated
once, alone, and is named. A row that a test has announced and then said nothing of is a failure.

--write  puts the tables into docs/conformance.md as well, unless something failed
"""

import argparse
import collections
import concurrent.futures
import datetime
import importlib.metadata
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time
import unittest

import features
from features import DEPARTURE, FOLDER, SERVICES, Feature

DOCUMENT = FOLDER.parent.parent / "docs" / "conformance.md"
BEGIN, END = "<!-- made by make conformance -->\n", "<!-- end of what is made -->\n"
CLIENTS = ("python-can", "bare TCP", "canopen", "tshark")
# Most of a test is waiting, so that more of them than there are processors get on.
JOBS = 3 * (os.cpu_count() or 1)
PATIENCE_S = 150
PASSED, FAILED, SKIPPED = "passed", "failed", "not run"

Record = collections.namedtuple("Record", "service name client cases result")


class CountingResult(unittest.TextTestResult):
    """Counts the cases of each test: what it says itself, or its subtests, or one."""

    def __init__(self, *arguments, **options):
        super().__init__(*arguments, **options)
        self.records = []

    def startTest(self, test):
        super().startTest(test)
        self._subtests = 0
        self._outcome = PASSED

    def stopTest(self, test):
        cases = getattr(test, "cases", 0) or self._subtests or 1
        for feature in features.features_of(test):
            self.records.append(Record(*feature, features.client_of(test), cases, self._outcome))
        super().stopTest(test)

    def addSubTest(self, test, subtest, err):
        super().addSubTest(test, subtest, err)
        self._subtests += 1
        if err:
            self._outcome = FAILED

    def addError(self, test, err):
        super().addError(test, err)
        self._outcome = FAILED

    def addFailure(self, test, err):
        super().addFailure(test, err)
        self._outcome = FAILED

    def addSkip(self, test, reason):
        super().addSkip(test, reason)
        self._outcome = SKIPPED


def run_class(name, path):
    """Runs the tests of one class in this process and writes its records."""
    suite = unittest.defaultTestLoader.loadTestsFromName(name)
    result = unittest.TextTestRunner(resultclass=CountingResult, verbosity=2).run(suite)
    path.write_text("".join(json.dumps(record._asdict()) + "\n" for record in result.records))
    return 0 if result.wasSuccessful() else 1


def command_of(unit, path):
    if unit.command is None:
        return [sys.executable, __file__, "--class", unit.name, str(path)]
    return ["node", "--test-reporter=./features.js", f"--test-reporter-destination={path}",
            "--test-reporter=spec", "--test-reporter-destination=stdout", str(unit.command)]


def run_unit(unit):
    """The records of a unit, failed ones for rows of which it said nothing, and its output when anything failed."""
    with tempfile.TemporaryDirectory(prefix="tavo-") as folder:
        path = pathlib.Path(folder) / "records"
        path.touch()
        try:
            process = subprocess.run(command_of(unit, path), cwd=FOLDER / "js", stdin=subprocess.DEVNULL, text=True,
                                     stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=PATIENCE_S)
            status, output = process.returncode, process.stdout
        except subprocess.TimeoutExpired as error:
            status, output = 1, f"{unit.name}: not within {PATIENCE_S} s\n{(error.stdout or b'').decode()}"
        records = [Record(**json.loads(line)) for line in path.read_text().splitlines()]
    told = {(Feature(one.service, one.name), one.client) for one in records}
    records += [Record(*feature, client, 0, FAILED) for feature, client in sorted(unit.rows - told)]
    is_well = status == 0 and all(one.result != FAILED for one in records)
    return records, None if is_well else output


def run_all(units, jobs):
    """The records of all units, and the outputs of those that failed twice."""
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        outcomes = dict(zip(units, pool.map(run_unit, units)))
    for unit in [unit for unit, (_, output) in outcomes.items() if output is not None]:
        print(f"conformance: {unit.name} failed, and is repeated once", file=sys.stderr)
        outcomes[unit] = run_unit(unit)
    records = [record for found, _ in outcomes.values() for record in found]
    return records, {unit.name: output for unit, (_, output) in outcomes.items() if output is not None}


def summary_of(records):
    """Cases by client, in words, the sum of them, and the one result of all."""
    cases = collections.Counter()
    for one in records:
        cases[one.client] += one.cases if one.result != SKIPPED else 0
    results = {one.result for one in records}
    result = next(one for one in (FAILED, PASSED, SKIPPED) if one in results)
    return ", ".join(f"{client} {cases[client]}" for client in CLIENTS if cases[client]), sum(cases.values()), result


def by_feature(records):
    found = collections.defaultdict(list)
    for one in records:
        found[Feature(one.service, one.name)].append(one)
    return found


def table(header, rows):
    lines = [header, ["---"] * len(header), *rows]
    return "".join(f"| {' | '.join(map(str, line))} |\n" for line in lines) + "\n"


def overview(records):
    """Cases of each service by client; a departure counts for its service."""
    known = features.departures()
    cases = collections.Counter()
    for one in records:
        service = known[one.name]["service"] if one.service == DEPARTURE else one.service
        cases[service, one.client] += one.cases
    clients = [client for client in CLIENTS if any(cases[service, client] for service in SERVICES)]
    rows = [[service, *(cases[service, client] or "" for client in clients),
             sum(cases[service, client] for client in clients)] for service in SERVICES]
    totals = [sum(cases[service, client] for service in SERVICES) for client in clients]
    return table(["service", *clients, "cases"], [*rows, ["all", *totals, sum(totals)]])


def render(records):
    """The tables, as they are printed and as the document has them."""
    found = by_feature(records)
    text = "## Cases\n\n" + overview(records)
    for service in SERVICES:
        rows = [[feature.name, *summary_of(found[feature])] for feature in sorted(found) if feature.service == service]
        text += f"## {service}\n\n" + table(["what was exercised", "clients and their cases", "cases", "result"], rows)
    text += "## Departures from the standard\n\n"
    rows = []
    for name, departure in features.departures().items():
        _, cases, result = summary_of(found[Feature(DEPARTURE, name)])
        rows.append([departure["service"], departure["standard"], departure["here"], departure["master"], cases, result])
    return text + table(["service", "CiA 301 has", "this node", "a master", "cases", "result"], rows)


def versions():
    """The clients of this machine."""
    canopen = json.loads((FOLDER / "js" / "package.json").read_text())["dependencies"]["canopen"]
    tshark = subprocess.run(["tshark", "--version"], capture_output=True, text=True, check=True).stdout
    return (f"python-can {importlib.metadata.version('python-can')}, npm canopen {canopen}, "
            f"tshark {re.search(r'[0-9.]+[0-9]', tshark)[0]}")


def write_document(tables):
    before, rest = DOCUMENT.read_text(encoding="utf-8").split(BEGIN)
    after = rest.split(END)[1]
    told = f"Last run: {datetime.date.today()}, with {versions()}.\n\n"
    DOCUMENT.write_text(before + BEGIN + told + tables + END + after, encoding="utf-8")


def check_announced(units):
    """Every departure is shown by a test."""
    announced = {feature for unit in units for feature, _ in unit.rows}
    missing = [name for name in features.departures() if Feature(DEPARTURE, name) not in announced]
    if missing:
        raise SystemExit(f"conformance: no test shows {', '.join(missing)}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--jobs", type=int, default=JOBS)
    parser.add_argument("--write", action="store_true")
    parser.add_argument("--class", nargs=2, dest="one", help=argparse.SUPPRESS)
    arguments = parser.parse_args()
    if arguments.one:
        return run_class(arguments.one[0], pathlib.Path(arguments.one[1]))
    start = time.monotonic()
    # The files first: they take longest.
    units = [*features.files(), *features.classes()]
    check_announced(units)
    records, failures = run_all(units, arguments.jobs)
    tables = render(records)
    print(tables, end="")
    for name, output in failures.items():
        print(f"\n== {name} failed twice\n{output}", file=sys.stderr)
    print(f"conformance: {len(by_feature(records))} rows, {sum(one.cases for one in records)} cases, "
          f"{time.monotonic() - start:.0f} s, {'failed: ' + ', '.join(failures) if failures else 'all passed'}", file=sys.stderr)
    if arguments.write and not failures:
        write_document(tables)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
