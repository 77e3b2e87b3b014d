"""Two programs on one bus: the second attaches to the first over TCP.

| covered                                              | kind       |
|------------------------------------------------------|------------|
| boot-up, SDO and NMT of each node by itself          | functional |
| commands to all nodes                                | functional |
| segmented uploads from both at once                  | robustness |
| the program that serves the bus goes and returns     | robustness |
| it is killed, again and again                        | robustness |
"""

import unittest

from case import PanelTest
from features import shows


@shows("NMT", "several nodes on one bus")
class TwoNodes(PanelTest):
    ARGUMENTS = ("--heartbeat", "200")

    def setUp(self):
        super().setUp()
        self.client.wait_for("705#00")
        self.second = self.start("--node-id", "6", "--heartbeat", "200",
                                 bus=f"socketcand:127.0.0.1:{self.panel.port}/bus0")

    def test_both_boot_up(self):
        self.client.wait_for("706#00")
        self.client.wait_for("706#7F")
        self.client.wait_for("705#7F")

    @shows("SDO server", "several servers on one bus")
    def test_each_answers_for_itself(self):
        self.client.wait_for("706#00")
        self.client.send("605#40 00 12 01 00 00 00 00", "606#40 00 12 01 00 00 00 00")
        answers = {self.client.next(0x585, 0x586)[0] for _ in range(2)}
        self.assertEqual(answers, {"585#43 00 12 01 05 06 00 00", "586#43 00 12 01 06 06 00 00"})

    def test_each_obeys_its_own_commands(self):
        self.client.wait_for("706#00")
        self.client.send("000#01 06")
        self.client.wait_for("706#05")
        self.client.wait_for("705#7F")
        self.client.send("000#02 05")
        self.client.wait_for("705#04")
        self.client.wait_for("706#05")

    def test_both_obey_a_command_to_all(self):
        self.client.wait_for("706#00")
        self.client.send("000#01 00")
        seen = set()
        while seen != {"705#05", "706#05"}:
            frame = self.client.next(0x705, 0x706)[0]
            seen |= {frame} - {"705#7F", "706#7F"}

    @shows("SDO server", "several servers on one bus")
    def test_segmented_uploads_from_both_at_once(self):
        self.client.wait_for("706#00")
        for request in ("40 0A 10 00 00 00 00 00", "60 00 00 00 00 00 00 00",
                        "70 00 00 00 00 00 00 00"):
            self.client.send(f"605#{request}", f"606#{request}")
        answers = {0x585: [], 0x586: []}
        while len(answers[0x585]) < 3 or len(answers[0x586]) < 3:
            identifier, data = self.client.next(0x585, 0x586)[0].split("#")
            answers[int(identifier, 16)].append(data)
        self.assertEqual(answers[0x585], ["41 0A 10 00 09 00 00 00", "00 75 6E 64 65 66 69 6E",
                                          "1B 65 64 00 00 00 00 00"])
        self.assertEqual(answers[0x585], answers[0x586])


class ServerReturns(PanelTest):
    def test_the_second_node_goes_on_when_the_bus_is_there_again(self):
        self.client.wait_for("705#00")
        port = self.panel.port
        self.start("--node-id", "6", "--heartbeat", "200", bus=f"socketcand:127.0.0.1:{port}/bus0")
        self.client.wait_for("706#7F")
        self.stop_early(self.panel)
        self.start("--heartbeat", "200", listen=f"127.0.0.1:{port}")
        client = self.attach(port)
        client.wait_for("706#7F")
        self.assert_answers("606#40 08 10 00 00 00 00 00", "586#43 08 10 00 54 41 56 4F", client=client)

    def test_a_server_that_is_killed_again_and_again_costs_a_line_each_way(self):
        port = self.panel.port
        second = self.start("--node-id", "6", "--heartbeat", "200", bus=f"socketcand:127.0.0.1:{port}/bus0")
        self.client.wait_for("706#7F")
        for _ in range(3):
            self.kill(self.panel)
            self.panel = self.start("--heartbeat", "200", listen=f"127.0.0.1:{port}")
            client = self.attach(port)
            client.wait_for("706#7F")
            self.assert_answers("606#40 08 10 00 00 00 00 00", "586#43 08 10 00 54 41 56 4F", client=client)
        lines = [line for line in second.errors().splitlines() if line.startswith("socketcand:")]
        self.assertEqual([line.endswith(": connected again") for line in lines], 3 * [False, True], lines)


if __name__ == "__main__":
    unittest.main()
