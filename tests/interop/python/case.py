"""What the tests of a running program have in common."""

import signal
import unittest

from clients import BusClient, LineClient
from panel import Panel


class PanelTest(unittest.TestCase):
    """A program and a client, python-can unless told otherwise. Frames are written as cansend takes them."""

    ARGUMENTS = ("--heartbeat", "1000")
    CLIENT = BusClient
    # For a test that walks over a table: how many of its rows it has looked at.
    cases = 0

    def __init__(self, *arguments):
        super().__init__(*arguments)
        self._ended = []

    def setUp(self):
        self.panel = self.start(*self.ARGUMENTS)
        self.client = self.attach()

    def start(self, *arguments, **options):
        panel = Panel(*arguments, **options)
        self.addCleanup(self.end, panel)
        return panel

    def stop_early(self, panel):
        """Ends a program in the middle of a test."""
        self.end(panel)
        self._ended.append(panel)

    def kill(self, panel):
        """Ends a program without asking it."""
        self.assertEqual(panel.stop(signal.SIGKILL), -signal.SIGKILL)
        self._ended.append(panel)

    def end(self, panel):
        """Whatever a test did to it, the program is still there and ends well when asked."""
        if panel in self._ended:
            return
        self.assertTrue(panel.is_running(), "the program ended by itself")
        self.assertEqual(panel.stop(), 0, "exit status")

    def attach(self, port=None):
        client = self.CLIENT(port or self.panel.port)
        self.addCleanup(client.close)
        return client

    def connect(self, **options):
        client = LineClient(self.panel.port, **options)
        self.addCleanup(client.close)
        return client

    def assert_answers(self, *frames, client=None):
        """SDO requests and answers as they alternate on the bus.

        The requests are sent back to back: the node gives a master 100 ms for each step of a transfer,
        and a busy machine may hold a test up for longer than that between two of them.
        """
        client = client or self.client
        client.send(*frames[::2])
        for answer in frames[1::2]:
            identifier = int(answer.split("#")[0], 16)
            self.assertEqual(client.next(identifier)[0], answer)
