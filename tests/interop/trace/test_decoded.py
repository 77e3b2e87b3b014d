"""tavo-trace says of the trace of a running program what the test did, and calls every frame what tshark calls it.

| covered                                                                            | kind       |
|------------------------------------------------------------------------------------|------------|
| summary of a session: transfers up and down, aborts, bytes, states, commands, PDOs | functional |
| values of PDOs and names with the description that the node exports                | functional |
| the service of each frame of a session, and of each identifier, as tshark has it   | functional |
| a pipe that brings lines now and then; a reader that goes away                     | functional |
| a progress line on a terminal, none elsewhere                                      | functional |
| lines that are none, files that are none, wrong options: exit status and one line  | robustness |
"""

import contextlib
import json
import os
import pathlib
import pty
import re
import shutil
import subprocess
import tempfile
import unittest

from case import PanelTest
from panel import PATIENCE_S, wait_until

NODE = 5
TPDO2_ON_SYNC = 0x285


def trace(*arguments, **options):
    return subprocess.run([os.environ["TAVO_TRACE"], *map(str, arguments)], capture_output=True, text=True,
                          timeout=PATIENCE_S, check=False, **options)


def decoded(log, *arguments):
    """What is said of each frame, as objects."""
    result = trace("--json", *arguments, log)
    assert result.returncode == 0, result.stderr
    return [json.loads(line) for line in result.stdout.splitlines()]


def service_of_tshark(words):
    """The words of the dissector as a service."""
    patterns = (
        (r"NMT Error Control: Boot-up", "boot-up"),
        (r"NMT Error Control", "heartbeat"),
        (r"NMT: ", "NMT"),
        (r"SYNC", "SYNC"),
        (r"TIME STAMP", "TIME"),
        (r"EMCY", "EMCY"),
        (r"PDO(\d) \(tx\)", r"TPDO \1"),
        (r"PDO(\d) \(rx\)", r"RPDO \1"),
        (r"Default-SDO \(rx\)", "SDO request"),
        (r"Default-SDO \(tx\)", "SDO response"),
        (r"LSS \(", "LSS"),
        (r"Unknown \(", "unknown"),
    )
    for pattern, service in patterns:
        match = re.match(pattern, words)
        if match:
            return match.expand(service)
    raise AssertionError(f"tshark says {words!r}")


def services_of_tshark(log):
    result = subprocess.run(["tshark", "-r", log, "-d", "can.subdissector,canopen", "-T", "fields", "-e", "_ws.col.Info"],
                            capture_output=True, text=True, timeout=60, check=True)
    return [service_of_tshark(line) for line in result.stdout.splitlines()]


def services_of_trace(log):
    return [frame["service"] + (f" {frame['number']}" if "PDO" in frame["service"] else "") for frame in decoded(log)]


class Session(PanelTest):
    """A client does what can be counted; then the trace is read."""

    ARGUMENTS = ("--heartbeat", "50", "--trace", "frames.log", "--export", "node.eds")
    UPLOADS = 7
    DOWNLOADS = 4
    TEXT = "twenty letters, yes!"
    SYNCS = 20

    def setUp(self):
        super().setUp()
        self.client.wait_for("705#7F")
        self.converse()
        growing = self.panel.directory / "frames.log"
        wait_until(lambda: growing.read_text().endswith("705#04\n"), "the heartbeat of the stopped node")
        self.log = self.panel.directory / "copy.log"
        shutil.copy(growing, self.log)

    def ask(self, request, response=0x580 + NODE):
        """One request, and its answer before the next."""
        self.client.send(request)
        return self.client.next(response)[0]

    def converse(self):
        for _ in range(self.UPLOADS):
            self.ask("605#40 18 10 01 00 00 00 00")
        for number in range(self.DOWNLOADS):
            self.ask(f"605#2B 00 20 02 {number:02X} 00 00 00")
        self.write_text()
        self.ask("605#40 FF 5F 00 00 00 00 00")
        self.ask("605#2B 00 20 02 FF FF 00 00")
        self.client.send("000#01 05")
        self.client.wait_for("705#05")
        for _ in range(self.SYNCS):
            self.client.send("080#")
            self.client.next(TPDO2_ON_SYNC)
        self.client.send("000#02 05")
        self.client.wait_for("705#04")

    def write_text(self):
        data = self.TEXT.encode()
        self.ask(f"605#21 01 20 00 {len(data):02X} 00 00 00")
        parts = [data[i:i + 7] for i in range(0, len(data), 7)]
        for number, part in enumerate(parts):
            last = number == len(parts) - 1
            command = (number % 2) << 4 | (7 - len(part)) << 1 | last
            self.ask(f"605#{command:02X} " + part.ljust(7, b"\0").hex(" "))

    def summary(self):
        result = trace("--summary", "--json", self.log)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        networks = json.loads(result.stdout)["networks"]
        self.assertEqual([network["interface"] for network in networks], ["bus0"])
        return networks[0]

    def test_the_summary_counts_what_was_done(self):
        summary = self.summary()
        lines = self.log.read_text().splitlines()
        self.assertEqual(summary["frames"], len(lines))
        self.assertEqual(summary["violations"], [])
        (server,) = summary["sdo"]
        self.assertEqual((server["uploads"]["expedited"], server["uploads"]["segmented"]), (self.UPLOADS, 0))
        self.assertEqual((server["downloads"]["expedited"], server["downloads"]["segmented"]), (self.DOWNLOADS, 1))
        self.assertEqual(server["uploads"]["bytes"], 4 * self.UPLOADS)
        self.assertEqual(server["downloads"]["bytes"], 2 * self.DOWNLOADS + len(self.TEXT))
        self.assertEqual((server["unanswered"], server["abandoned"]), (0, 0))
        self.assertEqual([(abort["abortCode"], abort["count"]) for abort in summary["aborts"]],
                         [(0x06020000, 1), (server_range := summary["aborts"][1]["abortCode"], 1)])
        self.assertIn(server_range, (0x06090030, 0x06090031, 0x06090032))

    def test_the_summary_has_the_states_over_time(self):
        summary = self.summary()
        (node,) = summary["nodes"]
        self.assertEqual([change["state"] for change in node["states"]],
                         ["boot-up", "PRE-OPERATIONAL", "OPERATIONAL", "STOPPED"])
        self.assertEqual([command["command"] for command in summary["commands"]], ["start", "stop"])
        heartbeats = sum(line.split()[2].startswith("705#") for line in self.log.read_text().splitlines())
        self.assertEqual((node["bootUps"], node["heartbeats"]), (1, heartbeats - 1))

    def test_the_summary_has_the_pdos(self):
        summary = self.summary()
        counts = {pdo["id"]: pdo["frames"] for pdo in summary["pdos"]}
        logged = [int(line.split()[2].split("#")[0], 16) for line in self.log.read_text().splitlines()]
        self.assertEqual(counts, {identifier: logged.count(identifier) for identifier in (0x185, TPDO2_ON_SYNC)})
        self.assertEqual(summary["sync"]["frames"], self.SYNCS)

    def test_the_durations_are_those_of_the_log(self):
        stamps = {}
        durations = []
        for line in self.log.read_text().splitlines():
            stamp, _, frame = line.split()
            if frame.startswith("605#401810"):
                stamps["request"] = float(stamp[1:-1])
            elif frame.startswith("585#431810"):
                durations.append(float(stamp[1:-1]) - stamps["request"])
        (server,) = self.summary()["sdo"]
        duration = server["uploads"]["duration"]
        self.assertAlmostEqual(duration["min"], min(durations), delta=2e-6)
        self.assertAlmostEqual(duration["max"], max(durations), delta=2e-6)

    def test_a_description_gives_names_and_values(self):
        description = self.panel.directory / "node.eds"
        frames = decoded(self.log, "--eds", f"{description}:{NODE}", "--id", "285")
        names = [value["name"] for value in frames[0]["values"]]
        self.assertEqual(names, ["Pieces", "Temperature"])
        raw = bytes.fromhex(frames[0]["data"])
        self.assertEqual([value["value"] for value in frames[0]["values"]],
                         [int.from_bytes(raw[:4], "little"), int.from_bytes(raw[4:], "little", signed=True)])

    def test_tshark_agrees_on_every_frame(self):
        self.assertEqual(services_of_trace(self.log), services_of_tshark(self.log))


class Log(unittest.TestCase):
    """A log that the test writes."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tavo-")
        self.addCleanup(folder.cleanup)
        self.log = pathlib.Path(folder.name) / "frames.log"

    def write(self, *lines):
        self.log.write_text("".join(line + "\n" for line in lines))
        return self.log

    def test_tshark_agrees_on_every_identifier(self):
        contents = {0x580: "4318100154415643", 0x600: "4018100100000000", 0x700: "05", 0x080: "1081810102030405"}
        lines = []
        for identifier in range(0x800):
            data = contents.get(identifier & 0x780, "0105") if identifier != 0x80 else ""
            lines.append(f"(1700000000.{identifier:06}) can0 {identifier:03X}#{data}")
        log = self.write(*lines)
        self.assertEqual(services_of_trace(log), services_of_tshark(log))

    def test_lines_that_are_none_are_told_with_their_numbers(self):
        result = trace(self.write("(1.0) can0 705#00", "rubbish", "(1.0) can0 705#0"))
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stdout, "1.000000 can0 705 boot-up       node 5\n")
        self.assertEqual(result.stderr, f"tavo-trace: {self.log}:2: not a line of a candump log: 'rubbish'\n"
                                        f"tavo-trace: {self.log}:3: not a line of a candump log: '(1.0) can0 705#0'\n")

    def test_only_the_first_such_lines_are_told(self):
        result = trace(self.write(*["rubbish"] * 100))
        self.assertEqual(len(result.stderr.splitlines()), 11)
        self.assertTrue(result.stderr.endswith("100 lines in all were no lines of a candump log\n"), result.stderr)

    def test_what_cannot_be_done_is_one_line(self):
        log = self.write("(1.0) can0 705#00")
        for arguments in ((), ("missing.log",), ("--wrong", log), ("--node", "128", log), ("--node", "0", log),
                          ("--service", "wrong", log), ("--id", "800", log), ("--id", "2-1", log), ("--from", "x", log),
                          ("--time", "wrong", log), ("--bit-rate", "0", log), ("--eds", "missing.eds", log),
                          ("--eds", f"{log}:128", log), (log.parent,)):
            with self.subTest(arguments=arguments):
                result = trace(*arguments)
                self.assertEqual((result.returncode, result.stdout), (2, ""))
                self.assertRegex(result.stderr, r"\Atavo-trace: [^\n]+\n\Z")

    def test_the_files_are_read_as_one(self):
        first = self.write("(1.0) can0 605#4018100100000000")
        second = self.log.with_name("second.log")
        second.write_text("(1.5) can0 585#4318100154415643\n")
        result = trace("--time", "relative", first, second)
        self.assertEqual(result.stdout.splitlines()[1],
                         "0.500000 can0 585 SDO response  node 5   0x1018/1 Vendor-ID: initiate upload = 0x43564154")

    def test_interfaces_are_networks_of_their_own(self):
        log = self.write("(1.0) can0 605#4018100100000000", "(1.1) can1 605#4008100000000000",
                         "(1.2) can0 585#4318100154415643")
        self.assertEqual([frame.get("violation") for frame in decoded(log)], [None, None, None])
        networks = json.loads(trace("--summary", "--json", log).stdout)["networks"]
        self.assertEqual([network["interface"] for network in networks], ["can0", "can1"])

    def test_filters_leave_out_frames(self):
        log = self.write("(1.0) can0 000#0100", "(2.0) can0 705#05", "(3.0) can0 706#05", "(4.0) can1 705#05",
                         "(5.0) can0 185#01")
        for arguments, times in ((("--node", "5"), [1, 2, 4, 5]), (("--node", "5,6"), [1, 2, 3, 4, 5]),
                                 (("--service", "HEARTBEAT"), [2, 3, 4]), (("--service", "pdo", "--service", "nmt"), [1, 5]),
                                 (("--id", "700-77F"), [2, 3, 4]), (("--interface", "can1"), [4]),
                                 (("--from", "+2"), [3, 4, 5]), (("--to", "2.0"), [1]),
                                 (("--from", "2", "--to", "+2.5"), [2, 3])):
            with self.subTest(arguments=arguments):
                self.assertEqual([frame["time"] for frame in decoded(log, *arguments)], times)

    def test_help_and_version_are_no_errors(self):
        self.assertIn("Exit status:", trace("--help").stdout)
        self.assertRegex(trace("--version").stdout, r"^tavo-trace \d+\.\d+\.\d+\n$")


class Pipe(unittest.TestCase):
    """What other programs write into it, and read from it."""

    def start(self, *arguments, **options):
        process = subprocess.Popen([os.environ["TAVO_TRACE"], *arguments], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, **options)
        self.addCleanup(self.end, process)
        return process

    @staticmethod
    def end(process):
        process.kill()
        process.wait()
        for stream in (process.stdin, process.stdout, process.stderr):
            with contextlib.suppress(BrokenPipeError):
                stream.close()

    def test_a_line_is_shown_when_it_comes(self):
        process = self.start("-")
        process.stdin.write(b"(1.0) can0 705#00\n")
        process.stdin.flush()
        self.assertEqual(process.stdout.readline(), b"1.000000 can0 705 boot-up       node 5\n")

    def test_an_interrupt_ends_with_what_was_read(self):
        process = self.start("--summary", "-")
        process.stdin.write(b"(1.0) can0 705#00\n")
        process.stdin.flush()
        status = f"/proc/{process.pid}/wchan"
        wait_until(lambda: "pipe" in pathlib.Path(status).read_text(), "the program waits for more")
        process.send_signal(2)
        self.assertIn(b"can0: 1 frames", process.stdout.read())
        self.assertEqual(process.wait(PATIENCE_S), 0)

    def test_a_reader_that_goes_away_is_no_error(self):
        process = self.start("-")
        process.stdout.close()
        with self.assertRaises(BrokenPipeError):
            for _ in range(100000):
                process.stdin.write(b"(1.0) can0 705#00\n")
        self.assertEqual(process.wait(PATIENCE_S), 0)
        self.assertEqual(process.stderr.read(), b"")

    def test_a_terminal_sees_how_far_it_is(self):
        terminal, other = pty.openpty()
        self.addCleanup(os.close, terminal)
        line = b"(1.0) can0 705#05\n"
        process = subprocess.Popen([os.environ["TAVO_TRACE"], "--summary", "-"], stdin=subprocess.PIPE,
                                   stdout=subprocess.DEVNULL, stderr=other)
        os.close(other)
        process.stdin.write(line * 10000)
        process.stdin.flush()
        shown = os.read(terminal, 100)
        process.stdin.close()
        self.assertEqual(process.wait(PATIENCE_S), 0)
        self.assertRegex(shown, rb"^\r\d+ frames\x1b\[K")


if __name__ == "__main__":
    unittest.main()
