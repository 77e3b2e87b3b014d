"""What nobody reads does not hold the node up, and a signal always ends the program.

| covered                                                                    | kind       |
|----------------------------------------------------------------------------|------------|
| standard output, standard error that are full pipes: answers, heartbeats   | robustness |
| what is missing is told when somebody reads again                          | functional |
| a named pipe as trace that nobody opens                                    | robustness |
| SIGTERM: with a full pipe; while a server is silent, while an EDS is a pipe | robustness |
"""

import os
import pathlib
import signal
import socket
import subprocess
import tempfile
import unittest

from clients import FrameClient
from panel import LISTENING, PATIENCE_S, environment, program, wait_until

# Each reset prints four lines of about 30 letters; a pipe holds 65536.
RESETS = 1200


class OutputTest(unittest.TestCase):
    """Programs whose outputs the test reads, or does not."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tavo-")
        self.addCleanup(folder.cleanup)
        self.directory = pathlib.Path(folder.name)

    def start(self, *arguments, output=subprocess.DEVNULL, errors=subprocess.DEVNULL):
        process = subprocess.Popen([program(), *arguments], cwd=self.directory, env=environment(),
                                   stdin=subprocess.DEVNULL, stdout=output, stderr=errors)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def attach(self, port):
        client = FrameClient(port)
        self.addCleanup(client.close)
        return client

    def assert_ends(self, process):
        process.send_signal(signal.SIGTERM)
        self.assertEqual(process.wait(PATIENCE_S), 0, "exit status")


class FullPipe(OutputTest):
    ARGUMENTS = ("--listen", "127.0.0.1:0", "--heartbeat", "50")

    def start_unread(self):
        """Both outputs into one pipe, of which only the first line is read."""
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        process = self.start(*self.ARGUMENTS, output=writer, errors=writer)
        os.close(writer)
        text = ""
        while not LISTENING.search(text):
            text += os.read(reader, 4096).decode()
        client = self.attach(int(LISTENING.search(text)[1]))
        client.wait_for("705#00")
        return process, reader, client

    def fill(self, client):
        for _ in range(RESETS):
            client.send("000#81 05")
            client.wait_for("705#00")

    def test_the_node_goes_on(self):
        _, _, client = self.start_unread()
        self.fill(client)
        client.send("000#01 05")
        client.wait_for("705#05")
        client.send("605#40 08 10 00 00 00 00 00")
        self.assertEqual(client.next(0x585)[0], "585#43 08 10 00 54 41 56 4F")

    def test_sigterm_ends_it(self):
        process, _, client = self.start_unread()
        self.fill(client)
        self.assert_ends(process)

    def test_what_is_missing_is_told(self):
        _, reader, client = self.start_unread()
        self.fill(client)
        os.set_blocking(reader, False)

        def told():
            try:
                self.text += os.read(reader, 65536).decode()
            except BlockingIOError:
                pass
            return "lines are missing here, standard output was not read\n" in self.text

        self.text = ""
        wait_until(told, "the line about those that are missing")


class UnreadTrace(OutputTest):
    def test_a_pipe_that_nobody_opens_is_not_waited_for(self):
        os.mkfifo(self.directory / "trace")
        output, writer = os.pipe()
        self.addCleanup(os.close, output)
        process = self.start("--listen", "127.0.0.1:0", "--trace", "trace", output=writer)
        os.close(writer)
        text = ""
        while not LISTENING.search(text):
            text += os.read(output, 4096).decode()
        client = self.attach(int(LISTENING.search(text)[1]))
        client.wait_for("705#00")
        self.assert_ends(process)


class SignalWhileItStarts(OutputTest):
    def test_a_server_is_silent(self):
        with socket.create_server(("127.0.0.1", 0)) as server:
            server.settimeout(PATIENCE_S)
            process = self.start("--can", f"socketcand:127.0.0.1:{server.getsockname()[1]}/bus0")
            connection, _ = server.accept()
            with connection:
                self.assert_ends(process)

    def test_the_description_of_the_application_is_a_pipe(self):
        os.mkfifo(self.directory / "application.eds")
        process = self.start("--listen", "127.0.0.1:0", "--app", "application.eds")
        wait_until(lambda: self.waits_for_a_pipe(process), "the program in front of the pipe")
        self.assert_ends(process)

    @staticmethod
    def waits_for_a_pipe(process):
        state = pathlib.Path(f"/proc/{process.pid}/stat").read_text().rsplit(")", 1)[1].split()[0]
        return state == "S" and "libKQAPI_CANopen" in pathlib.Path(f"/proc/{process.pid}/maps").read_text()


if __name__ == "__main__":
    unittest.main()
