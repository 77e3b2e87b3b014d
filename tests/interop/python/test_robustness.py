"""Clients that behave badly, and many of them: the node and the other clients go on.

| covered                                                             | kind       |
|---------------------------------------------------------------------|------------|
| attaching while traffic flows                                       | functional |
| a thousand SDO requests in one TCP segment, answers to every client | robustness |
| requests that arrive byte by byte                                   | robustness |
| vanishing: in the handshake, in a line, with a reset                | robustness |
| rubbish: unknown words, bad frames, no end of line                  | robustness |
| a client that never reads: memory bounded, nothing lost for others  | robustness |
| many clients that come and go leave nothing behind                  | robustness |
"""

import struct
import unittest

from case import PanelTest
from clients import CHANNEL, send_line
from panel import wait_until

NAME_REQUEST = "605#40 08 10 00 00 00 00 00"
NAME_ANSWER = "585#43 08 10 00 54 41 56 4F"


def unknown_object(number):
    """A request that nothing else asks, and the answer to it alone."""
    index = struct.pack("<H", 0x5000 + number).hex(" ").upper()
    return f"605#40 {index} 00 00 00 00 00", f"585#80 {index} 00 00 00 02 06"


def requests(numbers):
    return "".join(send_line(unknown_object(number)[0]) for number in numbers)


def answers(numbers):
    return [unknown_object(number)[1].split("#")[1].replace(" ", "") for number in numbers]


class BusyBusTest(PanelTest):
    """Without the client of the base: bursts are for clients that cope with them."""

    def setUp(self):
        self.panel = self.start(*self.ARGUMENTS)

    def tearDown(self):
        """Whatever a test did, the node serves a client that attaches now."""
        self.wait_until_quiet()
        self.assert_answers(NAME_REQUEST, NAME_ANSWER, client=self.attach())

    def wait_until_quiet(self):
        """The node works off requests in their order: the answer to this one is the last."""
        client = self.connect().attach()
        client.send(requests([0x0FFF]))
        while client.frames(0x585, 1) != answers([0x0FFF]):
            pass


class Traffic(BusyBusTest):
    def test_a_client_attaches_while_traffic_flows(self):
        first = self.connect().attach()
        first.send(requests(range(500)))
        second = self.connect().attach()
        first.send(requests(range(500, 510)))
        while second.frames(0x585, 1) != answers([509]):
            pass
        self.assertEqual(first.frames(0x585, 510), answers(range(510)))

    def test_a_thousand_requests_in_one_segment(self):
        sender = self.connect().attach()
        other = self.connect().attach()
        sender.send(requests(range(1000)))
        self.assertEqual(sender.frames(0x585, 1000), answers(range(1000)))
        self.assertEqual(other.frames(0x585, 1000), answers(range(1000)))

    def test_a_request_byte_by_byte(self):
        sender = self.connect().attach()
        for character in send_line(NAME_REQUEST):
            sender.send(character)
        self.assertEqual(sender.frames(0x585, 1), ["430810005441564F"])

    def test_a_client_does_not_see_its_own_frames(self):
        sender = self.connect().attach()
        other = self.connect().attach()
        sender.send(send_line("123#11") + send_line(NAME_REQUEST))
        self.assertEqual(other.frames(0x123, 1), ["11"])
        words = []
        while "585" not in words:
            words = sender.element().split()
            self.assertNotIn("123", words)


class Vanishing(BusyBusTest):
    def test_before_the_handshake(self):
        self.connect().close()

    def test_in_the_handshake(self):
        client = self.connect()
        client.send(f"< open {CHANNEL} > < raw")
        client.close()

    def test_in_the_middle_of_a_line(self):
        client = self.connect().attach()
        client.send("< send 605 8 40 08 10")
        client.close()

    def test_with_a_reset_and_answers_under_way(self):
        client = self.connect().attach()
        client.send(requests(range(1000)) + "< send 605 8")
        client.reset()

    def test_many_at_once(self):
        for client in [self.connect().attach() for _ in range(20)]:
            client.send("< send 605 8 40 08 10")
            client.reset()

    def test_nothing_of_them_is_left(self):
        first = self.connect().attach()  # whoever is served finds the program with all open that it needs
        before = self.panel.descriptors()
        for _ in range(5):
            for client in [self.connect().attach() for _ in range(20)]:
                client.close()
        wait_until(lambda: self.panel.descriptors() == before, "closed connections")
        first.close()


class Rubbish(BusyBusTest):
    LINES = (
        "rubbish >",
        "< rubbish >",
        "< >",
        "<>",
        ">>>><<<<",
        "< send >",
        "< send 605 >",
        "< send 605 9 1 2 3 4 5 6 7 8 9 >",
        "< send 605 8 1 2 >",
        "< send 605 2 100 1 >",
        "< send zzz 1 0 >",
        "< send ffffffffff 1 0 >",
        "< send 605 -1 >",
        "< send 605 8 40 8 10 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 >",
        "< open nosuch >",
        "\r\n",
        "\0\1\2\3 >",
        "\N{SNOWMAN} >",
    )

    def test_each_line_of_it_puts_no_frame_on_the_bus(self):
        observer = self.attach()
        observer.wait_for("705#00")
        for line in self.LINES:
            with self.subTest(line=line):
                client = self.connect().attach()
                client.send(line)
                client.close()
                observer.send(NAME_REQUEST)
                self.assertEqual(observer.next(*range(0x700))[0], NAME_ANSWER)

    def test_instead_of_the_handshake(self):
        for line in self.LINES:
            with self.subTest(line=line):
                client = self.connect()
                client.send(line)
                client.close()

    def test_a_line_without_an_end(self):
        client = self.connect().attach()
        try:
            for _ in range(64):
                client.send("x" * 65536)
        except ConnectionError:
            pass  # the server may refuse to read that much of nothing


class NeverReading(BusyBusTest):
    BATCH = 500

    def pump(self, client, batches):
        """Requests with their answers awaited, so that nobody but the sleeper is behind."""
        for batch in range(batches):
            numbers = range(batch % 8 * self.BATCH, (batch % 8 + 1) * self.BATCH)
            client.send(requests(numbers))
            self.assertEqual(client.frames(0x585, self.BATCH), answers(numbers))

    def test_the_node_goes_on_and_memory_is_bounded(self):
        sleeper = self.connect(receive_buffer=4096).attach()
        reader = self.connect().attach()
        self.pump(reader, 40)
        before = self.panel.resident_kib()
        self.pump(reader, 80)
        self.assertLess(self.panel.resident_kib() - before, 8192)
        sleeper.close()


if __name__ == "__main__":
    unittest.main()
