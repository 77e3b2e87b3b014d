"""Network management of a running program, seen by python-can.

| covered                                          | kind       |
|--------------------------------------------------|------------|
| boot-up for a client that attaches later         | functional |
| heartbeat: state byte, period by the time stamps | functional |
| each NMT command specifier, own and every node   | functional |
| commands to others, unknown, too long            | robustness |
| SIGINT and SIGTERM end the program with 0        | functional |
"""

import signal
import unittest

from case import PanelTest
from clients import LineClient
from panel import Panel


class BootUpAndHeartbeat(PanelTest):
    def test_a_client_that_attaches_after_the_start_sees_the_boot_up_first(self):
        message = self.client.receive()
        self.assertEqual((message.arbitration_id, bytes(message.data)), (0x705, b"\x00"))
        self.assertEqual(self.client.next(0x705)[0], "705#7F")

    def test_the_heartbeat_comes_once_a_second(self):
        stamps = [self.client.wait_for("705#7F") for _ in range(3)]
        for earlier, later in zip(stamps, stamps[1:]):
            self.assertGreater(later - earlier, 0.9)
            self.assertLess(later - earlier, 3.0)


class NmtCommands(PanelTest):
    ARGUMENTS = ("--heartbeat", "50")

    def setUp(self):
        super().setUp()
        self.client.wait_for("705#00")
        self.client.wait_for("705#7F")

    def test_start_makes_the_node_operational(self):
        self.client.send("000#01 05")
        self.client.wait_for("705#05")

    def test_stop_makes_the_node_stopped(self):
        self.client.send("000#02 05")
        self.client.wait_for("705#04")

    def test_a_stopped_node_starts_again(self):
        self.client.send("000#02 05")
        self.client.wait_for("705#04")
        self.client.send("000#01 05")
        self.client.wait_for("705#05")

    def test_enter_pre_operational_leaves_operational(self):
        self.client.send("000#01 05")
        self.client.wait_for("705#05")
        self.client.send("000#80 05")
        self.client.wait_for("705#7F")

    def test_reset_node_boots_up_again(self):
        self.client.send("000#81 05")
        self.client.wait_for("705#00")
        self.client.wait_for("705#7F")

    def test_reset_communication_boots_up_again(self):
        self.client.send("000#01 05")
        self.client.wait_for("705#05")
        self.client.send("000#82 05")
        self.client.wait_for("705#00")
        self.client.wait_for("705#7F")

    def test_a_command_to_every_node_is_obeyed(self):
        self.client.send("000#01 00")
        self.client.wait_for("705#05")

    def test_a_stopped_node_leaves_sdo_requests_unanswered(self):
        self.client.send("000#02 05", "605#40 08 10 00 00 00 00 00")
        self.client.send("000#80 05", "605#40 09 10 00 00 00 00 00")
        self.assertEqual(self.client.next(0x585)[0], "585#47 09 10 00 31 2E 30 00")

    def test_commands_that_are_not_for_this_node_change_nothing(self):
        others = ["000#01 06", "000#01", "000#01 05 00", "000#03 05", "000#FF 05", "000#"]
        self.client.send(*others, "605#40 08 10 00 00 00 00 00")
        self.client.wait_for("585#43 08 10 00 54 41 56 4F")
        for _ in range(3):
            self.assertEqual(self.client.next(0x705)[0], "705#7F")


class Ending(unittest.TestCase):
    def test_sigterm_ends_it_with_0(self):
        self.assertEqual(Panel().stop(signal.SIGTERM), 0)

    def test_sigint_ends_it_with_0(self):
        self.assertEqual(Panel().stop(signal.SIGINT), 0)

    def test_a_client_that_stays_does_not_hold_it_up(self):
        panel = Panel()
        client = LineClient(panel.port).attach()
        self.addCleanup(client.close)
        self.assertEqual(panel.stop(), 0)


if __name__ == "__main__":
    unittest.main()
