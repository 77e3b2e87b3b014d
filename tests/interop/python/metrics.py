"""Reads the metrics of a panel as a monitoring system does."""

import re
import urllib.request

from panel import PATIENCE_S, wait_until

CONTENT_TYPE = "application/openmetrics-text; version=1.0.0; charset=utf-8"
SHOWING = re.compile(r"^showing the node on (http://\S+/)$", re.MULTILINE)
SAMPLE = re.compile(r"([a-z_]+)(?:\{(.*)\})? (\S+)")
LABEL = re.compile(r'([a-z_]+)="((?:[^"\\]|\\.)*)"')
# How the name by which a value is asked for ends, by the type of its family.
SUFFIXES = {"counter": "_total", "info": "_info"}


def url(panel):
    return wait_until(lambda: SHOWING.search(panel.output()), "the address of the page")[1] + "metrics"


def fetch(panel):
    """The answer's content type and text."""
    with urllib.request.urlopen(url(panel), timeout=PATIENCE_S) as answer:
        return answer.headers["Content-Type"], answer.read().decode()


class Scrape:
    """The metrics of a panel at one moment."""

    def __init__(self, panel):
        self.types = {}     # by family
        self.values = {}    # by name and labels: a frozenset of pairs
        for line in fetch(panel)[1].splitlines():
            if line.startswith("# TYPE "):
                family, kind = line.split()[2:]
                self.types[family] = kind
            elif not line.startswith("#"):
                name, labels, value = SAMPLE.fullmatch(line).groups()
                self.values[name, frozenset(LABEL.findall(labels or ""))] = float(value)

    def get(self, name, /, **labels):
        """The value with exactly these labels, or None."""
        return self.values.get((name, frozenset(labels.items())))

    def names(self):
        """All names by which values can be asked for: family and type by name."""
        return {family + SUFFIXES.get(kind, ""): (family, kind) for family, kind in self.types.items()}

    def labels(self, family):
        """The names of the labels that a family's values have."""
        return {name for (sample, labels) in self.values for name, _ in labels
                if name != "le" and re.fullmatch(family + "(_total|_info|_bucket|_count|_sum)?", sample)}
