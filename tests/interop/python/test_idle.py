"""What an idle panel costs: how often it wakes.

| covered                                                                  | kind       |
|--------------------------------------------------------------------------|------------|
| machine at rest, heartbeat every second: at most three wakes a second    | functional |
| the machine is started again out of its rest by a master                 | functional |
"""

import time
import unittest

from case import PanelTest
from clients import FrameClient
from panel import wait_until

SECONDS = 3


class AtRest(PanelTest):
    """The run switch goes off before the machine has warmed up, so that it rests at once."""

    CLIENT = FrameClient

    def setUp(self):
        super().setUp()
        self.assert_answers("605#2F 00 20 05 00 00 00 00", "585#60 00 20 05 00 00 00 00")
        wait_until(lambda: self.upload(1) == "D7 00", "the temperature of a machine at rest")
        time.sleep(0.3)

    def upload(self, sub_index):
        self.client.send(f"605#40 00 20 {sub_index:02X} 00 00 00 00")
        return self.client.next(0x585)[0].split("#")[1][12:17]

    def wakes_in(self, seconds):
        before = self.panel.wakes()
        time.sleep(seconds)
        return self.panel.wakes() - before

    def test_wakes_at_most_three_times_a_second(self):
        self.client.close()
        self.assertLessEqual(self.wakes_in(SECONDS), 3 * SECONDS)

    def test_starts_again_when_a_master_says_so(self):
        self.client.send("605#2F 00 20 05 01 00 00 00")
        wait_until(lambda: self.upload(1) != "D7 00", "a temperature that rises")


if __name__ == "__main__":
    unittest.main()
