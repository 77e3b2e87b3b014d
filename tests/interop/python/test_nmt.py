"""Network management of a running program, seen by python-can.

| covered                                          | kind       |
|--------------------------------------------------|------------|
| boot-up for a client that attaches later         | functional |
| heartbeat: state byte, period by the time stamps | functional |
| each NMT command specifier, own and every node   | functional |
| commands to others, unknown, too long            | robustness |
| every command in every state, by either address  | functional |
| every value survives a reset                     | functional |
| SIGINT and SIGTERM end the program with 0        | functional |
"""

import signal
import unittest

from case import PanelTest
from clients import LineClient
from features import departs, shows
from panel import Panel


class BootUpAndHeartbeat(PanelTest):
    @shows("NMT", "boot-up message")
    def test_a_client_that_attaches_after_the_start_sees_the_boot_up_first(self):
        message = self.client.receive()
        self.assertEqual((message.arbitration_id, bytes(message.data)), (0x705, b"\x00"))
        self.assertEqual(self.client.next(0x705)[0], "705#7F")

    @shows("heartbeat", "producer: period and state")
    def test_the_heartbeat_comes_once_a_second(self):
        stamps = [self.client.wait_for("705#7F") for _ in range(3)]
        for earlier, later in zip(stamps, stamps[1:]):
            self.assertGreater(later - earlier, 0.9)
            self.assertLess(later - earlier, 3.0)


@shows("NMT", "commands lead from state to state")
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

    @shows("NMT", "commands to every node (node-ID 0)")
    def test_a_command_to_every_node_is_obeyed(self):
        self.client.send("000#01 00")
        self.client.wait_for("705#05")

    @shows("NMT", "services that a state does not have")
    def test_a_stopped_node_leaves_sdo_requests_unanswered(self):
        self.client.send("000#02 05", "605#40 08 10 00 00 00 00 00")
        self.client.send("000#80 05", "605#40 09 10 00 00 00 00 00")
        self.assertEqual(self.client.next(0x585)[0], "585#47 09 10 00 31 2E 30 00")

    @shows("NMT", "commands to others, unknown and malformed ones")
    def test_commands_that_are_not_for_this_node_change_nothing(self):
        others = ["000#01 06", "000#01", "000#01 05 00", "000#03 05", "000#FF 05", "000#"]
        self.client.send(*others, "605#40 08 10 00 00 00 00 00")
        self.client.wait_for("585#43 08 10 00 54 41 56 4F")
        for _ in range(3):
            self.assertEqual(self.client.next(0x705)[0], "705#7F")


# Of each state: the command that leads there, and the byte of its heartbeat.
STATES = {"PRE-OPERATIONAL": ("80", "7F"), "OPERATIONAL": ("01", "05"), "STOPPED": ("02", "04")}
RESETS = ("81", "82")
UNKNOWN_COMMANDS = ("00", "03", "04", "7F", "83", "FF")
OTHER_NODES = ("04", "06", "7F", "85", "FF")
BOOT_UP = "00"


class EveryCommandInEveryState(PanelTest):
    ARGUMENTS = ("--heartbeat", "20")

    def setUp(self):
        super().setUp()
        self.client.wait_for("705#7F")

    def heartbeats_after(self, frame):
        """The next four; the first ones may have been under way when the frame was sent."""
        while self.client.receive(0):
            pass
        self.client.send(frame)
        return [self.client.next(0x705)[0].split("#")[1] for _ in range(4)]

    def enter(self, state):
        command, heartbeat = STATES[state]
        self.assertEqual(self.heartbeats_after(f"000#{command} 05")[-1], heartbeat)
        return heartbeat

    def check_each(self, address):
        for state in STATES:
            for command, heartbeat in (*STATES.values(), *((reset, "7F") for reset in RESETS)):
                with self.subTest(state=state, command=command):
                    self.enter(state)
                    seen = self.heartbeats_after(f"000#{command} {address}")
                    self.assertEqual((seen[-1], BOOT_UP in seen), (heartbeat, command in RESETS))

    def check_ignored(self, commands, addresses):
        for state in STATES:
            for command in commands:
                for address in addresses:
                    with self.subTest(state=state, command=command, address=address):
                        heartbeat = self.enter(state)
                        self.assertEqual(set(self.heartbeats_after(f"000#{command} {address}")), {heartbeat})

    @shows("NMT", "every command in every state")
    def test_to_this_node(self):
        self.check_each("05")

    @shows("NMT", "commands to every node (node-ID 0)")
    def test_to_every_node(self):
        self.check_each("00")

    @shows("NMT", "commands to others, unknown and malformed ones")
    def test_to_another_node(self):
        self.check_ignored(("01", "02"), OTHER_NODES)

    @shows("NMT", "commands to others, unknown and malformed ones")
    def test_unknown(self):
        self.check_ignored(UNKNOWN_COMMANDS, ("00", "05"))


class ResetKeepsValues(PanelTest):
    WRITES = ("605#2B 17 10 00 96 00 00 00", "605#2B 00 20 02 20 03 00 00", "605#23 05 10 00 81 00 00 00",
              "605#2B 00 18 03 07 00 00 00")

    @departs("reset-keeps-values")
    def test_what_was_written_is_there_after_either_reset(self):
        for write in self.WRITES:
            self.client.send(write)
            self.assertRegex(self.client.next(0x585)[0], "^585#60")
        for reset in RESETS:
            self.client.send(f"000#{reset} 05")
            self.client.wait_for("705#00")
            for write in self.WRITES:
                with self.subTest(reset=reset, write=write):
                    where, value = write[7:15], write[16:]
                    self.client.send(f"605#40{where} 00 00 00 00")
                    answer = self.client.next(0x585)[0]
                    self.assertEqual((answer[7:15], answer[16:]), (where, value))


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
