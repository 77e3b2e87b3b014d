"""What a test shows of CiA 301 stands beside it, and is gathered from there.

    @shows("SDO server", "expedited upload")      a service and one of its features
    @departs("size-mismatch")                     a departure from the standard, by its name in departures.json

Both go before a class, for all of its tests, or before one test, which then shows that instead of what its class does. A test
of node's runner has the same in brackets behind its name: "uploads [SDO server: expedited upload]",
"[departure: size-mismatch]". SERVICES are the ones that there are.
"""

import collections
import importlib
import json
import pathlib
import re
import sys
import unittest

FOLDER = pathlib.Path(__file__).resolve().parent.parent
sys.path += sorted({str(path.parent) for path in FOLDER.glob("*/test_*.py")} - set(sys.path))
SERVICES = ("NMT", "heartbeat", "SDO server", "SDO client", "PDO", "SYNC", "EMCY", "dictionary", "DCF")
DEPARTURE = "departure"
TAG = re.compile(rf"\[({'|'.join((*SERVICES, DEPARTURE))}): ([^\]\n]+)\]")

Feature = collections.namedtuple("Feature", "service name")


def shows(service, name):
    if service not in SERVICES:
        raise ValueError(f"{service} is none of {SERVICES}")
    return _mark(Feature(service, name))


def departs(name):
    if name not in departures():
        raise ValueError(f"departures.json has no {name}")
    return _mark(Feature(DEPARTURE, name))


def _mark(feature):
    def mark(marked):
        # In a class of its own, not in that of its base.
        marked.features = (*vars(marked).get("features", ()), feature)
        return marked
    return mark


def departures():
    """What departs from the standard, by name: the service, what the standard has, what is so here, what to do about it."""
    return json.loads((FOLDER / "departures.json").read_text(encoding="utf-8"))


def features_of(test):
    """What one test of unittest shows."""
    method = getattr(type(test), test._testMethodName)
    return getattr(method, "features", getattr(test, "features", ()))


def client_of(test):
    return getattr(test, "WITNESS", None) or test.CLIENT.NAME


Unit = collections.namedtuple("Unit", "name command rows")


def classes():
    """A unit for each class of Python with a test that shows something; its rows are (feature, client)."""
    for path in sorted(FOLDER.glob("*/test_*.py")):
        if "from features import" not in path.read_text(encoding="utf-8"):
            continue
        module = importlib.import_module(path.stem)
        for name, found in vars(module).items():
            is_own = isinstance(found, type) and issubclass(found, unittest.TestCase) and found.__module__ == path.stem
            if is_own and not name.endswith("Test"):
                tests = unittest.defaultTestLoader.loadTestsFromTestCase(found)
                rows = frozenset((feature, client_of(test)) for test in tests for feature in features_of(test))
                if rows:
                    yield Unit(f"{path.stem}.{name}", None, rows)


def files():
    """The same for each file of node's runner, whose client is always the package canopen."""
    for path in sorted((FOLDER / "js").glob("*.test.js")):
        rows = frozenset((Feature(*tag), "canopen") for tag in TAG.findall(path.read_text(encoding="utf-8")))
        if rows:
            yield Unit(path.name, path, rows)
