"""How the program starts and how it refuses to.

| covered                                                             | kind       |
|---------------------------------------------------------------------|------------|
| wrong arguments: unknown, missing, out of range on both sides       | robustness |
| port in use, missing interface, no server, unwritable directory     | robustness |
| each refusal: one line on standard error, exit status 2             | functional |
| the limits of every range are accepted; --help, --version, --quiet  | functional |
| --autostart                                                         | functional |
"""

import pathlib
import socket
import subprocess
import tempfile
import unittest

from case import PanelTest
from panel import PATIENCE_S, environment, program, run_to_the_end

ANY_PORT = ("--listen", "127.0.0.1:0")


class RefusalTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tavo-")
        self.addCleanup(folder.cleanup)
        self.directory = pathlib.Path(folder.name)

    def assert_refusal(self, result, *words):
        self.assertEqual(result.returncode, 2, result)
        self.assertRegex(result.stderr, r"\Atavo-panel: [^\n]+\n\Z")
        for word in words:
            self.assertIn(word, result.stderr)

    def assert_refused(self, arguments, *words):
        """The program ends with 2 and says in one line why; the words are in it."""
        self.assert_refusal(run_to_the_end(*arguments, directory=self.directory), *words)


class WrongArguments(RefusalTest):
    def test_each_is_named_in_the_message(self):
        for arguments, word in (
                (("--nonsense",), "--nonsense"),
                (("surplus",), "surplus"),
                (("--node-id",), "--node-id"),
                (("--node-id", "0"), "--node-id"),
                (("--node-id", "128"), "--node-id"),
                (("--node-id", "-1"), "--node-id"),
                (("--node-id", "five"), "--node-id"),
                (("--heartbeat", "-1"), "--heartbeat"),
                (("--heartbeat", "65536"), "--heartbeat"),
                (("--cycle", "0"), "--cycle"),
                (("--cycle", "1001"), "--cycle"),
                (("--can", ""), "--can"),
                (("--can", "nonsense"), "--can"),
                (("--can", "serial:ttyS0"), "--can"),
                (("--can", "virtual:"), "--can"),
                (("--can", "socketcand:127.0.0.1"), "--can"),
                (("--can", "socketcan:vcan0", *ANY_PORT), "--listen"),
                (("--listen", "nonsense"), "--listen"),
                (("--listen", "127.0.0.1:"), "--listen"),
                (("--listen", "127.0.0.1:65536"), "--listen"),
                (("--listen", "127.0.0.1:x"), "--listen")):
            with self.subTest(arguments=arguments):
                self.assert_refused(arguments, word)


class MissingSurroundings(RefusalTest):
    def test_a_port_in_use(self):
        with socket.create_server(("127.0.0.1", 0)) as other:
            port = other.getsockname()[1]
            self.assert_refused(("--listen", f"127.0.0.1:{port}"), str(port))

    def test_an_interface_that_does_not_exist(self):
        self.assert_refused(("--can", "socketcan:nosuch0"), "nosuch0")

    def test_nobody_serves_the_bus(self):
        with socket.create_server(("127.0.0.1", 0)) as other:
            port = other.getsockname()[1]
        self.assert_refused(("--can", f"socketcand:127.0.0.1:{port}/bus0"), str(port))

    def test_the_description_file_cannot_be_written(self):
        (self.directory / "tavo_default.dcf").mkdir()
        self.assert_refused(ANY_PORT, "tavo_default.dcf")

    def test_the_working_directory_is_gone(self):
        script = 'mkdir gone && cd gone && rmdir ../gone && exec "$@"'
        result = subprocess.run(["sh", "-c", script, "sh", program(), *ANY_PORT],
                                cwd=self.directory, env=environment(), stdin=subprocess.DEVNULL,
                                capture_output=True, text=True, timeout=PATIENCE_S)
        self.assert_refusal(result, "tavo_default.dcf")

    def test_the_trace_cannot_be_written(self):
        self.assert_refused((*ANY_PORT, "--trace", "missing/frames.log"), "missing/frames.log")

    def test_the_application_file_is_missing(self):
        self.assert_refused((*ANY_PORT, "--app", "missing.eds"), "missing.eds")

    def test_the_application_file_is_no_eds(self):
        (self.directory / "wrong.eds").write_text("this is no EDS\n")
        self.assert_refused((*ANY_PORT, "--app", "wrong.eds"), "wrong.eds")


class Information(unittest.TestCase):
    def test_help_names_every_option(self):
        result = run_to_the_end("--help")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        for option in ("--can", "--listen", "--node-id", "--heartbeat", "--autostart", "--app",
                       "--trace", "--trace-size", "--trace-files", "--cycle", "--quiet"):
            self.assertIn(option, result.stdout)

    def test_version(self):
        result = run_to_the_end("--version")
        self.assertEqual(result.returncode, 0)
        self.assertRegex(result.stdout, r"\Atavo-panel \d+\.\d+\.\d+\n\Z")


class Options(PanelTest):
    def setUp(self):
        pass

    def test_the_node_id_at_both_ends_of_its_range(self):
        for node in (1, 127):
            client = self.attach(self.start("--node-id", str(node)).port)
            client.wait_for(f"{0x700 + node:03X}#00")

    def test_no_heartbeat(self):
        client = self.attach(self.start("--heartbeat", "0").port)
        self.assert_answers("605#40 17 10 00 00 00 00 00", "585#4B 17 10 00 00 00 00 00", client=client)

    def test_the_longest_heartbeat_time(self):
        client = self.attach(self.start("--heartbeat", "65535").port)
        self.assert_answers("605#40 17 10 00 00 00 00 00", "585#4B 17 10 00 FF FF 00 00", client=client)

    def test_the_longest_cycle_does_not_hold_an_answer_up(self):
        client = self.attach(self.start("--cycle", "1000").port)
        self.assert_answers("605#40 08 10 00 00 00 00 00", "585#43 08 10 00 54 41 56 4F", client=client)

    def test_quiet_prints_nothing(self):
        bus = self.start()
        client = self.attach(bus.port)
        quiet = self.start("--quiet", "--node-id", "6", bus=f"socketcand:127.0.0.1:{bus.port}/bus0")
        client.wait_for("706#00")
        client.send("000#81 06")
        client.wait_for("706#00")
        self.assertEqual((quiet.output(), quiet.errors()), ("", ""))

    def test_autostart_after_every_boot_up(self):
        client = self.attach(self.start("--autostart", "--heartbeat", "50").port)
        client.wait_for("705#00")
        self.assertEqual(client.next(0x705)[0], "705#05")
        client.send("000#81 05")
        client.wait_for("705#00")
        self.assertEqual(client.next(0x705)[0], "705#05")


if __name__ == "__main__":
    unittest.main()
