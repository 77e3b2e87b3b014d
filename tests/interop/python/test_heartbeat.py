"""Heartbeat producer and consumer of a running program, changed by a master at run time, seen by python-can.

| covered                                                                | kind       |
|------------------------------------------------------------------------|------------|
| producer: the period follows 0x1017                                    | functional |
| consumer: node and time follow 0x1016                                  | functional |
| consumer: every state byte counts, frames of another length do not     | functional |
| consumer: a node that was never heard is not reported as lost          | robustness |
| consumer: a node that is taken out of 0x1016                           | functional |
"""

import unittest

from case import PanelTest
from features import departs, shows

PERIODS = 5
# Of a busy machine; shorter than that many periods of what the object held before.
LONGEST_PAUSE_S = 2.0
PRESENT = "585#4F 00 21 03 01 00 00 00"
ABSENT = "585#4F 00 21 03 00 00 00 00"


class Producer(PanelTest):
    @shows("heartbeat", "producer: 0x1017 changed at run time")
    def test_the_period_follows_the_object(self):
        for period in (20, 50, 200):
            with self.subTest(period=period):
                self.assert_answers(f"605#2B 17 10 00 {period:02X} 00 00 00", "585#60 17 10 00 00 00 00 00")
                # The one that was due before the change may be the first.
                stamps = [self.client.wait_for("705#7F") for _ in range(PERIODS + 2)][1:]
                self.assertGreater(stamps[-1] - stamps[0], 0.8 * PERIODS * period / 1000)
                self.assertLess(stamps[-1] - stamps[0], PERIODS * period / 1000 + LONGEST_PAUSE_S)


class Consumer(PanelTest):
    """Watches node 32 for as long as the test says, and prints what becomes of it."""

    ARGUMENTS = ("--heartbeat", "1000", "--peer", "32")

    def setUp(self):
        super().setUp()
        self.client.wait_for("705#00")

    def watch(self, node, milliseconds):
        self.assert_answers(f"605#23 16 10 01 {milliseconds.to_bytes(2, 'little').hex(' ').upper()} {node:02X} 00",
                            "585#60 16 10 01 00 00 00 00")

    def hear(self, frame, node, times=1):
        self.client.send(frame)
        self.panel.wait_for_line(f"node {node}: heartbeat back", times)

    def miss(self, node, times=1):
        self.panel.wait_for_line(f"node {node}: heartbeat lost", times)

    @shows("heartbeat", "consumer: 0x1016 changed at run time")
    def test_the_time_follows_the_object(self):
        self.watch(32, 100)
        self.hear("720#05", 32)
        self.miss(32)
        self.watch(32, 60000)
        self.hear("720#05", 32, times=2)
        self.assert_answers("605#40 00 21 03 00 00 00 00", PRESENT)

    @shows("heartbeat", "consumer: 0x1016 changed at run time")
    def test_the_node_follows_the_object(self):
        for node in (1, 33, 127):
            with self.subTest(node=node):
                self.watch(node, 50)
                self.hear(f"{0x700 + node:03X}#05", node)
                self.miss(node)

    @shows("heartbeat", "consumer: state byte of the heartbeat")
    def test_every_state_counts(self):
        self.watch(32, 50)
        for times, state in enumerate(("00", "04", "05", "7F"), 1):
            with self.subTest(state=state):
                self.hear(f"720#{state}", 32, times)
                self.miss(32, times)

    @shows("heartbeat", "consumer: frames that are no heartbeat")
    def test_another_length_or_another_node(self):
        self.watch(32, 100)
        self.client.send("720#", "720#05 00", "721#05", "71F#05", "620#05")
        self.assert_answers("605#40 00 21 03 00 00 00 00", ABSENT)

    @shows("heartbeat", "consumer: a node that was never heard")
    def test_it_is_not_told_as_lost(self):
        self.watch(33, 20)
        self.watch(32, 20)
        self.hear("720#05", 32)
        self.miss(32)
        self.assertEqual(self.panel.count_lines("node 33: heartbeat lost"), 0)

    @departs("consumer-entry-stays")
    def test_a_node_that_is_taken_out_is_still_watched(self):
        self.watch(32, 1000)
        self.hear("720#05", 32)
        self.watch(33, 60000)
        self.assertEqual(self.panel.count_lines("node 32: heartbeat lost"), 0)
        self.miss(32)


if __name__ == "__main__":
    unittest.main()
