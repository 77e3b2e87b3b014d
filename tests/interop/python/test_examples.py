"""The examples, each on the bus of a panel, and what it shows.

| covered                                                                     | kind       |
|-----------------------------------------------------------------------------|------------|
| smallest node: boot-up, heartbeat, state, SDO                                | functional |
| variables and PDOs: a PDO for each change, a limit by PDO and by SDO         | functional |
| remote variable: written, read, not readable                                 | functional |
| heartbeat watch: there, silent                                               | functional |
| several nodes: each boots and answers                                        | functional |
| own port: frames as lines                                                    | functional |
| a port that is none, one that cannot be opened                               | robustness |
"""

import os
import pathlib
import subprocess
import tempfile
import unittest

from case import PanelTest
from clients import FrameClient
from panel import PATIENCE_S, environment, program, wait_until

FOLDER = pathlib.Path(os.environ.get("TAVO_EXAMPLES") or pathlib.Path(program()).parent)


class ExampleTest(PanelTest):
    """A panel, node 9, serves the bus on which an example is."""

    CLIENT = FrameClient
    ARGUMENTS = ("--node-id", "9", "--heartbeat", "0")

    def setUp(self):
        super().setUp()
        folder = tempfile.TemporaryDirectory(prefix="tavo-")
        self.addCleanup(folder.cleanup)
        self.directory = pathlib.Path(folder.name)

    def run_example(self, name, *arguments):
        with open(self.directory / "stdout", "wb") as output:
            process = subprocess.Popen([FOLDER / name, *arguments], cwd=self.directory, env=environment(),
                                       stdin=subprocess.DEVNULL, stdout=output)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def bus(self):
        return f"socketcand:127.0.0.1:{self.panel.port}/bus0"

    def wait_for_line(self, line):
        wait_until(lambda: line in (self.directory / "stdout").read_text().splitlines(), f"'{line}' in the output")


class SmallestNode(ExampleTest):
    def test_it_boots_obeys_and_answers(self):
        self.run_example("smallest-node", self.bus())
        self.client.wait_for("705#00")
        self.assert_answers("605#40 00 10 00 00 00 00 00", "585#43 00 10 00 00 00 00 00")
        self.client.send("000#01 05")
        self.client.wait_for("705#05")

    def test_a_port_that_is_none(self):
        self.assertEqual(self.run_example("smallest-node", "can0").wait(PATIENCE_S), 2)

    def test_a_port_that_cannot_be_opened(self):
        self.assertEqual(self.run_example("smallest-node", "socketcan:nowhere0").wait(PATIENCE_S), 2)


class VariablesAndPDOs(ExampleTest):
    def test_the_counter_goes_out_and_the_limit_is_obeyed(self):
        self.run_example("variables-and-pdos", self.bus())
        self.client.wait_for("705#00")
        self.client.send("000#01 05", "205#02 00")
        for count in ("01 00", "02 00", "00 00", "01 00"):
            self.client.wait_for(f"185#{count}")
        self.assert_answers("605#40 00 20 02 00 00 00 00", "585#4B 00 20 02 02 00 00 00",
                            "605#2B 00 20 02 E8 03 00 00", "585#60 00 20 02 00 00 00 00",
                            "605#2B 00 20 02 E9 03 00 00", "585#80 00 20 02 30 00 09 06",
                            "605#2B 00 20 01 00 00 00 00", "585#80 00 20 01 02 00 01 06")


class RemoteVariable(ExampleTest):
    ARGUMENTS = ("--node-id", "5", "--heartbeat", "0")

    def test_it_is_written_and_read(self):
        self.run_example("remote-variable", self.bus())
        self.client.wait_for("605#2B 00 20 02 2C 01 00 00")
        self.wait_for_line("set point: 300")
        self.client.send("606#40 00 20 01 00 00 00 00")
        self.client.wait_for("586#4B 00 20 01 2C 01 00 00")


class RemoteVariableOfNobody(ExampleTest):
    def test_it_is_marked(self):
        self.run_example("remote-variable", self.bus())
        self.wait_for_line("set point: 0 (not readable)")


class HeartbeatWatch(ExampleTest):
    def test_a_node_comes_and_falls_silent(self):
        self.run_example("heartbeat-watch", "32", self.bus())
        self.client.wait_for("77E#00")
        self.client.send("720#05")
        self.wait_for_line("node 32 is there")
        self.wait_for_line("node 32 is silent")

    def test_which_node(self):
        self.assertEqual(self.run_example("heartbeat-watch", "128").wait(PATIENCE_S), 2)


class SeveralNodes(ExampleTest):
    def test_each_boots_and_answers(self):
        self.run_example("several-nodes", self.bus())
        booted = {self.client.next(0x705, 0x706, 0x707)[0] for _ in range(3)}
        self.assertEqual(booted, {"705#00", "706#00", "707#00"})
        for node in "567":
            self.client.send(f"60{node}#40 00 10 00 00 00 00 00")
            self.client.wait_for(f"58{node}#43 00 10 00 00 00 00 00")


class OwnPort(unittest.TestCase):
    def test_frames_are_lines(self):
        with tempfile.TemporaryDirectory(prefix="tavo-") as folder:
            result = subprocess.run([FOLDER / "own-port"], cwd=folder, env=environment(), capture_output=True,
                                    input="605#4000100000000000\nno frame\n000#0105\n605#4018100000000000\n",
                                    text=True, timeout=PATIENCE_S)
        frames = [line for line in result.stdout.splitlines() if "#" in line]
        self.assertEqual(result.returncode, 0)
        self.assertEqual(frames, ["705#00", "585#4300100000000000", "585#4F18100004000000"])
        self.assertIn("CANOPEN: State set to 0x4", result.stdout)


if __name__ == "__main__":
    unittest.main()
