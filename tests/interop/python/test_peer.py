"""Two programs on one bus, one the SDO client and the heartbeat consumer of the other.

| covered                                                                        | kind       |
|--------------------------------------------------------------------------------|------------|
| number and text of the one sent to the other, frame by frame                   | functional |
| the own view changes with the confirmation, not before                         | functional |
| a value that the other one refuses                                             | robustness |
| the other one stopped: aborts, invalid variables, the queue goes on            | robustness |
| the other one goes on: late answers, values again                              | robustness |
| its heartbeat lost and back, told once each                                    | functional |
"""

import unittest

from case import PanelTest
from clients import FrameClient
from features import shows
from panel import wait_until

TIMEOUT = "00 00 04 05"

# Node 6 is the client of node 5; its 0x2101 takes commands, its 0x2100 shows what it knows of the peer.
SEND_900 = "606#2B 01 21 01 84 03 00 00"
SENDING = "586#60 01 21 01 00 00 00 00"
DOWNLOAD_900 = "605#2B 00 20 02 84 03 00 00"
CONFIRMATION = "585#60 00 20 02 00 00 00 00"
MIRROR = "606#40 00 21 01 00 00 00 00"
MIRROR_600 = "586#4B 00 21 01 58 02 00 00"
MIRROR_900 = "586#4B 00 21 01 84 03 00 00"
SEND_LONG_TEXT = ("606#21 01 21 02 08 00 00 00", "606#00 41 42 43 44 45 46 47", "606#1D 48 00 00 00 00 00 00")
UPLOAD = "605#40 00 20 02 00 00 00 00"
END_OF_TEXT = "585#09 69 6E 65 00 00 00 00"  # the last that is read when node 6 starts
UPLOAD_OF_TEXT = "605#40 01 20 00 00 00 00 00"


class PeersTest(PanelTest):
    CLIENT = FrameClient
    SDO_TIMEOUT = "20000"

    def setUp(self):
        self.start_peer()
        self.watcher = self.start(*self.arguments(6), "--peer", "5", bus=self.bus())
        self.client.wait_for(END_OF_TEXT)
        self.assertEqual(self.ask(MIRROR), MIRROR_600)

    def start_peer(self):
        """The peer serves the bus to which its client attaches."""
        self.panel = self.peer = self.start(*self.arguments(5))
        self.client = self.attach()

    def start_peer_beside_the_bus(self):
        """The peer attaches as well, so that the bus goes on when it is stopped."""
        self.panel = self.start(*self.arguments(7))
        self.client = self.attach()
        self.peer = self.start(*self.arguments(5), bus=self.bus())
        self.client.wait_for("705#00")

    def arguments(self, node):
        return "--node-id", str(node), "--heartbeat", "200", "--sdo-timeout", self.SDO_TIMEOUT

    def bus(self):
        return f"socketcand:127.0.0.1:{self.panel.port}/bus0"

    def wait_for(self, *frames):
        for frame in frames:
            self.client.wait_for(frame)

    def ask(self, request):
        """What node 6 answers."""
        self.client.send(request)
        return self.client.next(0x586)[0]


@shows("SDO client", "download, expedited and in segments")
class Transfers(PeersTest):
    def test_a_number_arrives_and_the_own_view_follows(self):
        self.client.send(SEND_900)
        self.wait_for(SENDING, DOWNLOAD_900, CONFIRMATION)
        self.assertEqual(self.ask(MIRROR), MIRROR_900)
        self.client.send(UPLOAD)
        self.wait_for("585#4B 00 20 02 84 03 00 00")

    def test_the_command_is_idle_again(self):
        self.client.send(SEND_900)
        self.wait_for(CONFIRMATION)
        self.assertEqual(self.ask("606#40 01 21 01 00 00 00 00"),
                         "586#4B 01 21 01 00 80 00 00")

    @shows("SDO client", "aborts of the server")
    def test_a_refused_number_changes_nothing(self):
        self.client.send("606#2B 01 21 01 B1 04 00 00")
        self.wait_for(SENDING, "605#2B 00 20 02 B1 04 00 00", "585#80 00 20 02 30 00 09 06")
        self.assertEqual(self.ask(MIRROR), MIRROR_600)

    def test_a_text_of_four_characters_is_expedited(self):
        self.client.send("606#23 01 21 02 57 58 59 5A")
        self.wait_for("586#60 01 21 02 00 00 00 00", "605#23 01 20 00 57 58 59 5A",
                      "585#60 01 20 00 00 00 00 00")
        self.assertEqual(self.ask("606#40 00 21 02 00 00 00 00"), "586#43 00 21 02 57 58 59 5A")

    def test_a_long_text_goes_in_segments(self):
        self.client.send(*SEND_LONG_TEXT)
        self.wait_for("605#21 01 20 00 08 00 00 00", "585#60 01 20 00 00 00 00 00",
                      "605#00 41 42 43 44 45 46 47", "585#20 00 00 00 00 00 00 00",
                      "605#1D 48 00 00 00 00 00 00", "585#30 00 00 00 00 00 00 00")
        self.assertEqual(self.ask("606#40 00 21 02 00 00 00 00"), "586#41 00 21 02 08 00 00 00")


@shows("SDO client", "download, expedited and in segments")
class Confirmation(PeersTest):
    start_peer = PeersTest.start_peer_beside_the_bus

    def test_the_own_view_changes_with_it_and_not_before(self):
        self.peer.pause()
        self.client.send(SEND_900)
        self.wait_for(SENDING, DOWNLOAD_900)
        self.assertEqual(self.ask(MIRROR), MIRROR_600)
        self.peer.resume()
        self.wait_for(CONFIRMATION)
        self.assertEqual(self.ask(MIRROR), MIRROR_900)


@shows("SDO client", "time-out and late answers")
class StoppedPeer(PeersTest):
    SDO_TIMEOUT = "500"
    start_peer = PeersTest.start_peer_beside_the_bus

    def setUp(self):
        super().setUp()
        self.peer.pause()

    def test_a_download_is_aborted_and_the_own_view_stays(self):
        self.client.send(SEND_900)
        self.wait_for(SENDING, DOWNLOAD_900, "605#80 00 20 02 " + TIMEOUT)
        self.assertEqual(self.ask(MIRROR), MIRROR_600)

    def test_a_download_in_segments_is_aborted_on_the_identifier_of_the_answer(self):
        self.client.send(*SEND_LONG_TEXT)
        self.wait_for("605#21 01 20 00 08 00 00 00", "585#80 01 20 00 " + TIMEOUT)

    def test_an_upload_is_aborted_and_what_could_not_be_read_is_invalid(self):
        self.wait_for(UPLOAD, "585#80 00 20 02 " + TIMEOUT)
        self.watcher.wait_for_line("peer: set point not readable")
        self.watcher.wait_for_line("peer: device text not readable")
        self.assertEqual(self.ask(MIRROR), MIRROR_600)

    def test_the_queue_goes_on(self):
        for _ in range(2):
            self.wait_for(UPLOAD, "585#80 00 20 02 " + TIMEOUT,
                          UPLOAD_OF_TEXT, "585#80 01 20 00 " + TIMEOUT)
        self.client.send(SEND_900)
        self.wait_for(DOWNLOAD_900, "605#80 00 20 02 " + TIMEOUT)


@shows("SDO client", "time-out and late answers")
class ReturningPeer(PeersTest):
    SDO_TIMEOUT = "500"
    start_peer = PeersTest.start_peer_beside_the_bus

    def setUp(self):
        super().setUp()
        self.watcher.wait_for_line("node 5: heartbeat back")
        self.peer.pause()
        self.watcher.wait_for_line("node 5: heartbeat lost")
        self.watcher.wait_for_line("peer: set point not readable")

    @shows("heartbeat", "consumer: lost and back")
    def test_its_heartbeat_is_told_once(self):
        self.peer.resume()
        self.watcher.wait_for_line("node 5: heartbeat back", times=2)
        for _ in range(3):
            self.client.wait_for("705#7F")
        listeners = {
            "node 5: heartbeat": ("lost", "back"),
            "Sending heartbeat": ("timeout to ECU with node ID 0x5",
                                  "resolved timeout to ECU with node ID 0x5"),
        }
        for listener, (lost, back) in listeners.items():
            self.assertEqual(self.watcher.count_lines(f"{listener} {lost}"), 1)
            self.assertEqual(self.watcher.count_lines(f"{listener} {back}"), 2)

    @shows("heartbeat", "consumer: lost and back")
    def test_a_master_sees_whether_it_is_there(self):
        present = "606#40 00 21 03 00 00 00 00"
        self.assertEqual(self.ask(present), "586#4F 00 21 03 00 00 00 00")
        self.peer.resume()
        self.watcher.wait_for_line("node 5: heartbeat back", times=2)
        self.assertEqual(self.ask(present), "586#4F 00 21 03 01 00 00 00")

    def test_its_late_answers_do_no_harm(self):
        self.client.send(SEND_900)
        self.wait_for(DOWNLOAD_900, "605#80 00 20 02 " + TIMEOUT)
        self.peer.resume()
        self.wait_for(CONFIRMATION)
        self.watcher.wait_for_line("peer: set point readable again")
        wait_until(lambda: self.ask(MIRROR) == MIRROR_900, "the value that came late")


if __name__ == "__main__":
    unittest.main()
