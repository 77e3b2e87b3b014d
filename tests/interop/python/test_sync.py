"""SYNC at 100 Hz, with every synchronous TPDO in its place.

| covered                                                                       | kind       |
|-------------------------------------------------------------------------------|------------|
| TPDO 2 with every SYNC, once more when a value has changed in between         | functional |
| TPDO 1 made synchronous, with every third value of the node's SYNC counter    | functional |
| nothing between a SYNC and its TPDOs, nothing missing on the bus              | functional |
| the same for a minute, through many turns of the counter                      | robustness |
"""

import time
import unittest

from case import PanelTest
from clients import FrameClient
from features import departs, shows
from panel import PATIENCE_S

PERIOD_S = 0.01
COUNTER_TURNS_AT = 251
EVERY_THIRD = 3
SYNC, TPDO_1, TPDO_2 = "080", "185", "285"


class TrainTest(PanelTest):
    CLIENT = FrameClient
    ARGUMENTS = ("--heartbeat", "1000", "--trace", "frames.log")
    SECONDS = None

    def setUp(self):
        super().setUp()
        self.client.wait_for("705#00")
        self.received = []

    def run_train(self):
        """TPDO 1 goes with every third SYNC and without an inhibit time; then the node is started."""
        self.client.send("605#2B 00 18 03 00 00 00 00", "605#2F 00 18 02 03 00 00 00", "000#01 05")
        self.client.wait_for("705#05")
        count = round(self.SECONDS / PERIOD_S)
        start = time.monotonic()
        for number in range(count):
            self.receive_until(start + number * PERIOD_S)
            self.client.send("080#")
        self.receive_until_answer("605#40 00 10 00 00 00 00 00")
        return count

    def receive_until(self, moment):
        while time.monotonic() < moment:
            self.keep(self.client.receive_frame(moment - time.monotonic()))

    def receive_until_answer(self, request):
        self.client.send(request)
        while self.keep(self.client.receive_frame(PATIENCE_S)) != 0x585:
            pass

    def keep(self, frame):
        if frame and frame[0] in (int(TPDO_1, 16), int(TPDO_2, 16)):
            self.received.append((f"{frame[0]:03X}", frame[1].hex().upper()))
        return frame and frame[0]

    def traced(self):
        """Identifier and data of each SYNC and TPDO, in the order in which the node dealt with them."""
        lines = (self.panel.directory / "frames.log").read_text().splitlines()
        frames = [tuple(line.split()[2].split("#")) for line in lines]
        return [frame for frame in frames if frame[0] in (SYNC, TPDO_1, TPDO_2)]

    def by_sync(self, frames):
        """What followed each SYNC."""
        followers = []
        for identifier, data in frames:
            if identifier == SYNC:
                followers.append([])
            else:
                followers[-1].append((identifier, data))
        return followers

    def check_train(self):
        count = self.run_train()
        followers = self.by_sync(self.traced())
        self.assertEqual(len(followers), count)
        self.check_every_third(followers)
        self.check_every_sync(followers)
        self.assertEqual(self.received, [frame for group in followers for frame in group])

    def check_every_third(self, followers):
        """The first SYNC lets it out whatever the counter says, since it was just configured."""
        for number, group in enumerate(followers):
            counter = number % COUNTER_TURNS_AT + 1
            wanted = (counter % EVERY_THIRD == 0) + (number == 0)
            self.assertEqual(sum(identifier == TPDO_1 for identifier, _ in group), wanted, number)

    def check_every_sync(self, followers):
        """Another value than with the SYNC before was a change: then it goes out twice."""
        before = None
        pieces = 0
        for number, group in enumerate(followers):
            data = [data for identifier, data in group if identifier == TPDO_2]
            self.assertEqual(len(set(data)), 1, number)
            self.assertIn(len(data), (1, 2) if data[0] == before else (2,), number)
            before = data[0]
            self.assertGreaterEqual(int.from_bytes(bytes.fromhex(before[:8]), "little"), pieces)
            pieces = int.from_bytes(bytes.fromhex(before[:8]), "little")
        self.assertGreater(pieces, self.SECONDS)


@shows("SYNC", "at 100 Hz, every synchronous TPDO in its place")
@departs("changed-value-goes-twice")
class SomeSeconds(TrainTest):
    SECONDS = 3

    def test_every_synchronous_pdo_is_in_its_place(self):
        self.check_train()


class WholeMinute(TrainTest):
    SECONDS = 60

    def test_every_synchronous_pdo_is_in_its_place(self):
        self.check_train()


if __name__ == "__main__":
    unittest.main()
