"""tshark reads the trace of a running program, and its CANopen dissector knows every frame in it.

| covered                                                        | kind       |
|----------------------------------------------------------------|------------|
| NMT commands, boot-up, heartbeat of each state                 | functional |
| SDO requests and responses, expedited and segmented, abort     | functional |
| TPDOs of the demo machine, RPDOs, SYNC                         | functional |
| frames of both directions, in their order                      | functional |
| the candump log: time stamps rise, every line has the one form | functional |
"""

import pathlib
import shutil
import subprocess
import unittest

from case import PanelTest
from clients import show
from features import shows
from panel import wait_until

# The frame and the words by which the dissector describes it.
EXCHANGE = (
    ("705#00", "NMT Error Control: Boot-up"),
    ("605#40 08 10 00 00 00 00 00", "Default-SDO (rx): Initiate upload request"),
    ("585#43 08 10 00 54 41 56 4F", "Default-SDO (tx): Initiate upload response"),
    ("605#40 0A 10 00 00 00 00 00", "Default-SDO (rx): Initiate upload request"),
    ("585#41 0A 10 00 09 00 00 00", "Default-SDO (tx): Initiate upload response"),
    ("605#60 00 00 00 00 00 00 00", "Default-SDO (rx): Upload segment request"),
    ("585#00 75 6E 64 65 66 69 6E", "Default-SDO (tx): Upload segment response"),
    ("605#70 00 00 00 00 00 00 00", "Default-SDO (rx): Upload segment request"),
    ("585#1B 65 64 00 00 00 00 00", "Default-SDO (tx): Upload segment response"),
    ("605#21 01 20 00 08 00 00 00", "Default-SDO (rx): Initiate download request"),
    ("585#60 01 20 00 00 00 00 00", "Default-SDO (tx): Initiate download response"),
    ("605#00 41 42 43 44 45 46 47", "Default-SDO (rx): Download segment request"),
    ("585#20 00 00 00 00 00 00 00", "Default-SDO (tx): Download segment response"),
    ("605#1D 48 00 00 00 00 00 00", "Default-SDO (rx): Download segment request"),
    ("585#30 00 00 00 00 00 00 00", "Default-SDO (tx): Download segment response"),
    ("605#40 FF 5F 00 00 00 00 00", "Default-SDO (rx): Initiate upload request"),
    ("585#80 FF 5F 00 00 00 02 06", "Default-SDO (tx): Abort transfer"),
    ("605#80 FF 5F 00 00 00 00 08", "Default-SDO (rx): Abort transfer"),
    ("000#01 05", "NMT: Start remote node"),
    ("705#05", "NMT Error Control: Operational"),
    ("205#58 02", "PDO1 (rx)"),
    ("305#01", "PDO2 (rx)"),
    ("080#", "SYNC"),
    ("000#02 05", "NMT: Stop remote node"),
    ("705#04", "NMT Error Control: Stopped"),
    ("000#80 05", "NMT: Enter pre-operational state"),
    ("705#7F", "NMT Error Control: Pre-operational"),
    ("080#", "SYNC"),
    ("000#81 05", "NMT: Reset node"),
    ("705#00", "NMT Error Control: Boot-up"),
    ("000#82 05", "NMT: Reset communication"),
    ("705#00", "NMT Error Control: Boot-up"),
)
MEANING = dict(EXCHANGE)
# TPDOs come when they are due, with values that move.
MEANING_OF_TPDOS = {"185": "PDO1 (tx)", "285": "PDO2 (tx)"}


def meaning(frame):
    return MEANING_OF_TPDOS.get(frame[:3]) or MEANING[frame]


def compact(line):
    """'(1700000000.000001) bus0 705#7F' -> '705#7F', as frames are written here."""
    identifier, data = line.split()[2].split("#")
    return show(int(identifier, 16), bytes.fromhex(data))


def dissect(log):
    """What tshark says of each frame: protocol and words, without the node-ID in brackets behind them."""
    result = subprocess.run(
        ["tshark", "-r", log, "-d", "can.subdissector,canopen", "-T", "fields",
         "-e", "_ws.col.Protocol", "-e", "_ws.col.Info"],
        capture_output=True, text=True, timeout=60, check=True)
    return [tuple(line.split(" [")[0].split("\t")) for line in result.stdout.splitlines()]


class Trace(PanelTest):
    ARGUMENTS = ("--heartbeat", "100", "--trace", "frames.log")
    WITNESS = "tshark"

    def setUp(self):
        super().setUp()
        self.converse()
        growing = self.panel.directory / "frames.log"
        wait_until(lambda: growing.read_text().endswith(" 705#7F\n"), "the frame after the last boot-up")
        self.log = shutil.copy(growing, self.panel.directory / "copy.log")
        self.lines = pathlib.Path(self.log).read_text().splitlines()

    def converse(self):
        """Goes through the exchange; the SDO requests back to back, as the node gives them 100 ms each."""
        self.client.wait_for("705#00")
        self.client.send(*(frame for frame, _ in EXCHANGE if frame.startswith("605")))
        for frame, _ in EXCHANGE[1:]:
            if frame.startswith(("58", "70")):
                self.client.wait_for(frame)
            elif not frame.startswith("605"):
                self.client.send(frame)

    def test_it_holds_every_frame_of_both_directions(self):
        traced = [compact(line) for line in self.lines]
        self.assertEqual(traced[0], "705#00")
        for part in ("605", "585", "000", "080", "205", "305"):
            self.assertEqual([frame for frame in traced if frame.startswith(part)],
                             [frame for frame, _ in EXCHANGE if frame.startswith(part)])

    def test_the_dissector_names_every_frame(self):
        frames = [compact(line) for line in self.lines]
        described = dissect(self.log)
        self.assertEqual(len(described), len(frames))
        for frame, (protocol, words) in zip(frames, described):
            with self.subTest(frame=frame):
                self.assertEqual((protocol, words), ("CANopen", meaning(frame)))
        self.assertLess(set(MEANING_OF_TPDOS.values()), {words for _, words in described})

    def check_named(self, *identifiers):
        """The same for those of one service, each of which is a case."""
        frames = [compact(line) for line in self.lines]
        for frame, (_, words) in zip(frames, dissect(self.log)):
            if frame.startswith(identifiers):
                self.cases += 1
                self.assertEqual(words, meaning(frame))
        self.assertGreater(self.cases, 0)

    @shows("NMT", "frames as a decoder names them")
    def test_the_dissector_names_nmt_commands(self):
        self.check_named("000")

    @shows("heartbeat", "frames as a decoder names them")
    def test_the_dissector_names_boot_up_and_heartbeats(self):
        self.check_named("705")

    @shows("SDO server", "frames as a decoder names them")
    def test_the_dissector_names_sdo(self):
        self.check_named("605", "585")

    @shows("PDO", "frames as a decoder names them")
    def test_the_dissector_names_pdos(self):
        self.check_named("205", "305", *MEANING_OF_TPDOS)

    @shows("SYNC", "frames as a decoder names them")
    def test_the_dissector_names_sync(self):
        self.check_named("080")

    def test_every_line_is_one_of_a_candump_log(self):
        stamps = []
        for line in self.lines:
            self.assertRegex(line, r"^\(\d{10}\.\d{6}\) bus0 [0-9A-F]{3}#([0-9A-F]{2}){0,8}$")
            stamps.append(float(line[1:18]))
        self.assertEqual(stamps, sorted(stamps))

    def test_can_utils_read_it(self):
        result = subprocess.run(["log2asc", "-I", self.log, "bus0"], capture_output=True, text=True,
                                timeout=60, check=True)
        converted = [line for line in result.stdout.splitlines() if " d " in line]
        self.assertEqual(len(converted), len(self.lines), result)


if __name__ == "__main__":
    unittest.main()
