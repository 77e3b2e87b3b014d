"""The whole object dictionary of a running program, against the table in dictionary.json.

| covered                                                                   | kind       |
|---------------------------------------------------------------------------|------------|
| every sub-index: value, size, segmented or expedited                      | functional |
| every sub-index: writes that are taken, and what it holds then            | functional |
| every sub-index: writes that are refused, with their codes; other sizes   | robustness |
| nothing else changes; everything is as it was at the end                  | robustness |
| the same of a program with a peer                                         | functional |
| the data types' entries by themselves                                     | functional |
| indexes that are not there; sub-indexes beside those that are             | robustness |
"""

import itertools
import re
import unittest

import dictionary
from case import PanelTest
from features import departs, shows

# python-can loses lines of longer bursts.
FRAMES_AT_ONCE = 16
AREAS = (range(0x0001, 0x2000), range(0x2000, 0x2200))


def bursts(transfers):
    """Transfers whose frames go out together, none of them torn apart."""
    waiting = []
    for transfer in transfers:
        if sum(len(one.answers) for one in waiting) + len(transfer.answers) > FRAMES_AT_ONCE:
            yield waiting
            waiting = []
        waiting.append(transfer)
    yield waiting


class WalkTest(PanelTest):
    SECTIONS = ("dataTypes", "communication", "demo", "pdos")

    def setUp(self):
        super().setUp()
        self.objects = dictionary.load(*self.SECTIONS)
        self.client.wait_for("705#00")

    def walk(self, transfers):
        for burst in bursts(transfers):
            self.cases += len(burst)
            self.client.send(*(f"605#{request}" for one in burst for request in one.requests))
            # All of them are taken before one is judged, so that none is left over for the next transfer.
            seen = [[self.next_answer() for _ in one.answers] for one in burst]
            for transfer, answers in zip(burst, seen):
                self.check(transfer, answers)

    def next_answer(self):
        return self.client.next(0x585)[0].split("#")[1].replace(" ", "").lower()

    def check(self, transfer, answers):
        for answer, wanted in zip(answers, transfer.answers):
            if not re.fullmatch(wanted, answer):
                self.fail(f"{transfer.requests}: {answers} where {transfer.answers} was expected")

    def read_all(self, reading):
        self.walk(dictionary.upload(one, reading(one)) for one in self.objects)


class EveryObject(WalkTest):
    @shows("dictionary", "every object: its value")
    def test_holds_its_value(self):
        self.read_all(lambda one: one.reads)

    @shows("dictionary", "every object: writes taken and refused, other sizes")
    def test_answers_to_writes_and_nothing_else_changes(self):
        for one in self.objects:
            with self.subTest(index=hex(one.index), sub_index=one.sub_index, name=one.name):
                self.walk(dictionary.all_writes(one))
        self.read_all(lambda one: one.left or one.reads)


class DataTypes(WalkTest):
    SECTIONS = ("dataTypes",)

    @departs("data-type-entries")
    def test_hold_no_length(self):
        self.read_all(lambda one: one.reads)
        self.assertEqual({one.reads for one in self.objects if one.is_number} - {" ".join(["00"] * size) for size in range(1, 5)},
                         set())


class EveryObjectWithPeer(EveryObject):
    """The peer is not there: what is known of it stays as a master writes it."""

    ARGUMENTS = ("--heartbeat", "1000", "--peer", "32")
    SECTIONS = (*WalkTest.SECTIONS, "peer")


class WhatIsNotThere(WalkTest):
    @shows("dictionary", "indexes that are not there")
    def test_indexes(self):
        known = {one.index for one in self.objects}
        missing = (index for index in itertools.chain(*AREAS) if index not in known)
        self.walk(itertools.chain.from_iterable(
            dictionary.refusals_of_unknown(index, 0) for index in missing))

    @shows("dictionary", "sub-indexes that are not there")
    def test_sub_indexes(self):
        self.walk(itertools.chain.from_iterable(
            dictionary.refusals_of_unknown(*one) for one in dictionary.sub_indexes_beside(self.objects)))


if __name__ == "__main__":
    unittest.main()
