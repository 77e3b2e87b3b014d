"""The panel as a service: what a service manager is told, and a trace that is moved away under it.

| covered                                                              | kind       |
|----------------------------------------------------------------------|------------|
| ready after the boot-up message, signs of life, stopping              | functional |
| SIGHUP: the trace goes on in a new file; without a trace it ends      | functional |
| SIGHUP before the panel runs                                          | robustness |
| the unit file that comes along: its options                           | functional |
"""

import os
import pathlib
import re
import signal
import socket
import subprocess
import tempfile
import unittest

from clients import FrameClient
from panel import LISTENING, PATIENCE_S, environment, program, wait_until

UNIT = pathlib.Path(__file__).parents[3] / "examples/systemd/tavo-panel.service"
ANY_PORT = ("--listen", "127.0.0.1:0")


class ServiceTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tavo-")
        self.addCleanup(folder.cleanup)
        self.directory = pathlib.Path(folder.name)

    def start(self, *arguments, **variables):
        with open(self.directory / "stdout", "wb") as output:
            process = subprocess.Popen([program(), *arguments], cwd=self.directory, env={**environment(), **variables},
                                       stdin=subprocess.DEVNULL, stdout=output)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def attach(self):
        port = wait_until(lambda: LISTENING.search((self.directory / "stdout").read_text()), "the port of the bus")[1]
        client = FrameClient(int(port))
        self.addCleanup(client.close)
        client.send("605#40 08 10 00 00 00 00 00")
        client.next(0x585)
        return client

    def read(self, name):
        path = self.directory / name
        return path.read_text() if path.exists() else ""


class Notification(ServiceTest):
    def setUp(self):
        super().setUp()
        self.manager = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(self.manager.close)
        self.manager.settimeout(PATIENCE_S)
        self.manager.bind(str(self.directory / "notify"))

    def take(self):
        return self.manager.recv(256).decode()

    def test_the_manager_hears_of_start_and_end(self):
        process = self.start(*ANY_PORT, "--trace", "trace.log", NOTIFY_SOCKET=str(self.directory / "notify"))
        self.assertEqual(self.take(), "READY=1")
        wait_until(lambda: "705#00" in self.read("trace.log"), "the boot-up message")
        process.send_signal(signal.SIGTERM)
        self.assertEqual(self.take(), "STOPPING=1")
        self.assertEqual(process.wait(PATIENCE_S), 0)

    def test_the_unit_file_starts_a_panel(self):
        command = re.search(r"^ExecStart=/usr/bin/tavo-panel (.+)$", UNIT.read_text(), re.MULTILINE)[1]
        for there, here in (("socketcan:can0", "virtual:bus0 --listen 127.0.0.1:0"),
                            ("/var/log/tavo-panel", str(self.directory))):
            self.assertIn(there, command)
            command = command.replace(there, here)
        self.start(*command.split(), NOTIFY_SOCKET=str(self.directory / "notify"))
        self.assertEqual(self.take(), "READY=1")

    def test_signs_of_life(self):
        process = self.start(*ANY_PORT, NOTIFY_SOCKET=str(self.directory / "notify"), WATCHDOG_USEC="100000")
        heard = [self.take() for _ in range(4)]
        self.assertEqual(heard.count("READY=1"), 1)
        self.assertEqual(heard.count("WATCHDOG=1"), 3)
        process.send_signal(signal.SIGTERM)


class HangUp(ServiceTest):
    def test_the_trace_goes_on_in_a_new_file(self):
        process = self.start(*ANY_PORT, "--heartbeat", "0", "--trace", "trace.log")
        client = self.attach()
        wait_until(lambda: "585#" in self.read("trace.log"), "the answer")
        os.rename(self.directory / "trace.log", self.directory / "moved.log")
        process.send_signal(signal.SIGHUP)
        wait_until((self.directory / "trace.log").exists, "a new trace")
        client.send("605#40 00 10 00 00 00 00 00")
        wait_until(lambda: "585#43001000" in self.read("trace.log"), "the answer in the new trace")
        self.assertNotIn("585#43001000", self.read("moved.log"))

    def test_without_a_trace_it_ends(self):
        process = self.start(*ANY_PORT)
        self.attach()
        process.send_signal(signal.SIGHUP)
        self.assertEqual(process.wait(PATIENCE_S), 0)

    def test_before_it_runs_it_ends(self):
        with socket.create_server(("127.0.0.1", 0)) as silent:
            bus = f"socketcand:127.0.0.1:{silent.getsockname()[1]}/bus0"
            process = self.start("--can", bus, "--trace", "trace.log")
            silent.settimeout(PATIENCE_S)
            connection, _ = silent.accept()
            with connection:
                process.send_signal(signal.SIGHUP)
                self.assertEqual(process.wait(PATIENCE_S), 0)


if __name__ == "__main__":
    unittest.main()
