"""The whole program is held up for longer than its time-outs, while what it waits for is sent to it in time: what waits
at its port counts before any time-out does.

| covered                                                       | kind       |
|---------------------------------------------------------------|------------|
| a master's segment request, on the served bus and as a client | robustness |
| a server's answer to the node's client                        | robustness |
| frames of a monitored RPDO                                    | robustness |
| heartbeats of a watched node, among other frames              | robustness |
| what does not come is still missed                            | robustness |
"""

import time
import unittest

from case import PanelTest
from clients import FrameClient
from features import shows

UPLOAD_OF_TEXT = "605#40 01 20 00 00 00 00 00"
SEGMENT = "605#60 00 00 00 00 00 00 00"
NAME_REQUEST = "605#40 08 10 00 00 00 00 00"
NAME_ANSWER = "585#43 08 10 00 54 41 56 4F"
START = "000#01 05"


class HoldUpTest(PanelTest):
    CLIENT = FrameClient
    ARGUMENTS = ("--heartbeat", "0", "--sdo-timeout", "100")

    def hold_up(self, seconds, *frames, panel=None):
        """Keeps the program from running for so long, and sends the frames ten times a second meanwhile."""
        panel = panel or self.panel
        panel.pause()
        panel.wait_until_paused()
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            self.client.send(*frames)
            time.sleep(0.1)
        panel.resume()


@shows("SDO server", "requests that waited at the port while the node was held up")
class Server(HoldUpTest):
    def begin_upload(self):
        self.client.send(UPLOAD_OF_TEXT)
        self.assertRegex(self.client.next(0x585)[0], "^585#41 01 20 00")

    def test_request_that_came_in_time_is_answered(self):
        self.begin_upload()
        self.panel.pause()
        self.panel.wait_until_paused()
        self.client.send(SEGMENT)
        time.sleep(0.25)
        self.panel.resume()
        self.assertRegex(self.client.next(0x585)[0], "^585#00 ")

    def test_request_that_did_not_come_is_missed(self):
        self.begin_upload()
        self.hold_up(0.25)
        self.assertEqual(self.client.next(0x585)[0], "585#80 01 20 00 00 00 04 05")

    def test_request_over_a_bus_of_another(self):
        node = self.start("--node-id", "6", *self.ARGUMENTS, bus=f"socketcand:127.0.0.1:{self.panel.port}/bus0")
        self.client.wait_for("706#00")
        self.client.send(UPLOAD_OF_TEXT.replace("605", "606"))
        self.assertRegex(self.client.next(0x586)[0], "^586#41 01 20 00")
        node.pause()
        node.wait_until_paused()
        self.client.send(SEGMENT.replace("605", "606"))
        time.sleep(0.25)
        node.resume()
        self.assertRegex(self.client.next(0x586)[0], "^586#00 ")


@shows("SDO client", "answers that waited at the port while the node was held up")
class Client(HoldUpTest):
    ARGUMENTS = ("--heartbeat", "0", "--sdo-timeout", "100", "--peer", "32")

    def test_answer_that_came_in_time_is_taken(self):
        self.client.wait_for("620#40 00 20 02 00 00 00 00")
        self.panel.pause()
        self.panel.wait_until_paused()
        self.client.send("5A0#4B 00 20 02 BC 02 00 00")
        time.sleep(0.25)
        self.panel.resume()
        self.assertNotRegex(self.client.next(0x5A0, 0x620)[0], "^5A0#80")
        self.assert_answers("605#40 00 21 01 00 00 00 00", "585#4B 00 21 01 BC 02 00 00")


@shows("PDO", "RPDO that waited at the port while the node was held up")
class Reception(HoldUpTest):
    def test_rpdo_that_came_in_time_is_received(self):
        self.client.send(START, "205#20 03")
        self.panel.wait_for_line("RPDO 1: receiving")
        self.hold_up(0.8, "205#20 03")
        self.assert_answers(NAME_REQUEST, NAME_ANSWER)
        self.assertNotIn("timed out", self.panel.output())

    def test_rpdo_that_did_not_come_is_missed(self):
        self.client.send(START, "205#20 03")
        self.panel.wait_for_line("RPDO 1: receiving")
        self.hold_up(0.8)
        self.panel.wait_for_line("RPDO 1: reception timed out")


@shows("heartbeat", "consumer: what waited at the port while the node was held up")
class Consumer(HoldUpTest):
    ARGUMENTS = ("--heartbeat", "0", "--peer", "32")
    CROWD = ["123#"] * 10

    def test_heartbeats_that_came_in_time_are_heard(self):
        self.client.send("720#05")
        self.panel.wait_for_line("node 32: heartbeat back")
        self.hold_up(2.4, *self.CROWD, "720#05")
        self.assert_answers(NAME_REQUEST, NAME_ANSWER)
        self.assertEqual(self.panel.count_lines("node 32: heartbeat lost"), 0)

    def test_heartbeats_that_did_not_come_are_missed(self):
        self.client.send("720#05")
        self.panel.wait_for_line("node 32: heartbeat back")
        self.hold_up(2.4)
        self.panel.wait_for_line("node 32: heartbeat lost")


if __name__ == "__main__":
    unittest.main()
