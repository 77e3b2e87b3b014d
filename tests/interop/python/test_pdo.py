"""The PDOs of the demo machine, on the bus of a running program.

| covered                                                                       | kind       |
|-------------------------------------------------------------------------------|------------|
| TPDO 1: its bytes are the values that SDO gives, a setting reaches it         | functional |
| TPDO 1: at once after its parameters were written; held back by inhibit time  | functional |
| event timer of a TPDO whose values rest                                       | functional |
| SYNC: TPDO 2, its bytes; RPDO 2 takes effect with it, the last frame counts   | functional |
| RPDO 1: value visible to SDO, short, long and refused frames                  | functional |
| RPDO 1: reception lost and back, told once                                    | functional |
| COB-ID made invalid and valid again, moved; the mapping is not to be changed  | functional |
| nothing is sent or received outside OPERATIONAL                               | robustness |
"""

import itertools
import re
import unittest

from case import PanelTest
from clients import FrameClient
from features import departs, shows
from panel import wait_until

START, STOP, ENTER_PRE_OPERATIONAL = "000#01 05", "000#02 05", "000#80 05"
SYNC = "080#"
TPDO_1, TPDO_2 = 0x185, 0x285
PDOS = ("185#", "285#")

# Inhibit time and event timer go by a clock of milliseconds, and a frame gets its time stamp a little after the
# program has looked at that clock. A pause of the machine in between is none of the program's.
TIME_STAMP_TOLERANCE_S = 0.010


class PdoTest(PanelTest):
    CLIENT = FrameClient
    ARGUMENTS = ("--heartbeat", "100")

    def setUp(self):
        super().setUp()
        self.client.wait_for("705#7F")

    def upload(self, sub_index):
        """The value of an object of the machine, as it stands in a frame."""
        self.client.send(f"605#40 00 20 {sub_index:02X} 00 00 00 00")
        answer = bytes.fromhex(self.client.next(0x585)[0].split("#")[1])
        return answer[4:4 + (4 - (answer[0] >> 2 & 3))].hex(" ").upper()

    def write(self, *requests):
        """Downloads that are accepted: '1800.3 2C 01'."""
        for request in requests:
            self.assertEqual(self.answer_to(request), "60")

    def answer_to(self, request):
        """Of a download: '60', or the code of the abort."""
        index, sub_index, data = re.fullmatch(r"(\w{4})\.(\w) (.*)", request).groups()
        size = len(bytes.fromhex(data))
        where = f"{index[2:]} {index[:2]} 0{sub_index}"
        self.client.send(f"605#{0x2F - 4 * (size - 1):02X} {where} {data}{' 00' * (4 - size)}")
        answer = bytes.fromhex(self.client.next(0x585)[0].split("#")[1])
        return "60" if answer[0] == 0x60 else f"{int.from_bytes(answer[4:], 'little'):08X}"

    def heartbeats(self, state, count=3):
        """Every frame until that many heartbeats with the state have come."""
        frames = []
        while sum(frame == f"705#{state}" for frame in frames) < count:
            frames.append(self.client.next(*range(0x800))[0])
        return frames

    def pdos(self, frames):
        return [frame for frame in frames if frame.startswith(PDOS)]

    def data_of(self, identifier, count=1):
        return [self.client.next(identifier)[0].split("#")[1] for _ in range(count)]

    def assert_apart(self, stamps, seconds):
        """No two frames closer than their number of periods."""
        for (i, first), (j, second) in itertools.combinations(enumerate(stamps), 2):
            self.assertGreaterEqual(second - first, (j - i) * seconds - TIME_STAMP_TOLERANCE_S)


@shows("PDO", "TPDO of type 254: on change")
class EventDriven(PdoTest):
    def setUp(self):
        super().setUp()
        self.client.send(START)

    def is_what_sdo_gives(self):
        """Temperature, alarms, 12 bits of the analogue input, one bit of run."""
        seen = self.data_of(TPDO_1)[0]
        temperature, alarms, analogue, run = (self.upload(sub_index) for sub_index in (1, 6, 4, 5))
        low, high = bytes.fromhex(analogue)
        return seen == f"{temperature} {alarms} {low:02X} {high | int(run) << 4:02X}"

    def test_bytes(self):
        wait_until(self.is_what_sdo_gives, "a TPDO between two steps of the machine")

    def test_a_setting_reaches_it(self):
        self.assertRegex(self.data_of(TPDO_1)[0], "^.. .. .. 00 .. 1.$")
        self.write("2000.5 00")
        wait_until(lambda: re.match("^.. .. 04 00 .. 0.$", self.data_of(TPDO_1)[0]), "the alarm")

    @departs("inhibit-time-unit")
    @departs("inhibit-time-valid")
    def test_inhibit_time(self):
        for inhibit_time in (100, 250):
            with self.subTest(inhibit_time=inhibit_time):
                self.write(f"1800.3 {inhibit_time.to_bytes(2, 'little').hex(' ')}")
                stamps = [self.client.next(TPDO_1)[1] for _ in range(8)]
                self.assert_apart(stamps, inhibit_time / 1000)

    @shows("PDO", "TPDO whose parameters are written")
    def test_at_once_when_its_parameters_were_written(self):
        self.write("1800.3 60 EA")
        self.data_of(TPDO_1)
        self.assertEqual(self.pdos(self.heartbeats("05", 5)), [])
        self.write("1800.5 E8 03")
        self.assertEqual(len(self.pdos(self.heartbeats("05", 5))), 1)


@shows("PDO", "TPDO of types 254 and 255: event timer")
class EventTimer(PdoTest):
    def test_of_a_pdo_whose_values_rest(self):
        self.write("2000.5 00")
        wait_until(lambda: self.upload(1) == "D7 00", "a machine that has cooled down")
        self.write("1801.2 FE", "1801.5 C8 00")
        self.client.send(START)
        frames = [self.client.next(TPDO_2) for _ in range(6)]
        self.assertEqual({data for data, _ in frames}, {frames[0][0]})
        # The first one goes out because of the start, and does not move the timer.
        self.assert_apart([stamp for _, stamp in frames[1:]], 0.2)


@shows("PDO", "TPDO of type 1: with SYNC")
class Synchronous(PdoTest):
    def setUp(self):
        super().setUp()
        self.client.send(START)
        self.heartbeats("05", 1)

    def is_what_sdo_gives(self):
        """Pieces and temperature."""
        self.client.send(SYNC)
        seen = self.data_of(TPDO_2)[0]
        return seen == f"{self.upload(3)} {self.upload(1)}"

    def test_bytes(self):
        wait_until(self.is_what_sdo_gives, "a TPDO between two steps of the machine")

    def test_not_without_sync(self):
        frames = self.pdos(self.heartbeats("05", 5))
        self.assertEqual([frame for frame in frames if frame.startswith("285")], [])

    @shows("PDO", "RPDO, synchronous")
    def test_a_received_value_waits_for_sync(self):
        self.client.send("305#00")
        self.assertEqual(self.upload(5), "01")
        self.client.send(SYNC)
        self.assertEqual(self.upload(5), "00")

    @shows("PDO", "RPDO, synchronous")
    def test_the_last_frame_before_sync_counts(self):
        self.client.send("305#00", "305#01", SYNC)
        self.assertEqual(self.upload(5), "01")
        self.client.send("305#01", "305#00", SYNC)
        self.assertEqual(self.upload(5), "00")

    @shows("SYNC", "with a counter")
    def test_sync_with_a_counter(self):
        self.client.send("305#00", "080#2A")
        self.assertEqual(self.upload(5), "00")

    @shows("SYNC", "another COB-ID at run time")
    def test_another_identifier_for_sync(self):
        self.write("1005.0 81 00 00 00")
        self.client.send("305#00", SYNC)
        self.assertEqual(self.upload(5), "01")
        self.client.send("081#")
        self.assertEqual(self.upload(5), "00")


@shows("PDO", "RPDO, event-driven")
class Received(PdoTest):
    def setUp(self):
        super().setUp()
        self.client.send(START)
        self.heartbeats("05", 1)

    def test_value(self):
        self.client.send("205#20 03")
        self.assertEqual(self.upload(2), "20 03")

    def test_the_last_of_many(self):
        self.client.send(*(f"205#{one:02X} 01" for one in range(200)))
        self.assertEqual(self.upload(2), "C7 01")

    @departs("short-rpdo")
    def test_frames_of_another_length_change_nothing(self):
        for frame in ("205#", "205#20", "205#20 03 00", "205#20 03 00 00 00 00 00 00"):
            with self.subTest(frame=frame):
                self.client.send(frame)
                self.assertEqual(self.upload(2), "58 02")

    @departs("short-rpdo")
    def test_a_short_frame_counts_as_received(self):
        self.panel.wait_for_line("RPDO 1: nothing received yet")
        self.client.send("205#20")
        self.panel.wait_for_line("RPDO 1: receiving")

    @shows("PDO", "RPDO, event-driven")
    @departs("no-emergency")
    def test_a_long_frame_sends_no_emergency(self):
        self.client.send("205#20 03 00")
        self.assertEqual([frame for frame in self.heartbeats("05") if frame.startswith("085")], [])

    def test_a_value_outside_the_limits_changes_nothing(self):
        self.client.send("205#B1 04", "205#FF FF")
        self.assertEqual(self.upload(2), "58 02")

    @shows("PDO", "RPDO monitored by its event timer")
    def test_reception_is_told_once(self):
        self.panel.wait_for_line("RPDO 1: nothing received yet")
        self.client.send("205#20 03")
        self.panel.wait_for_line("RPDO 1: receiving")
        self.panel.wait_for_line("RPDO 1: reception timed out")
        self.assertEqual(self.upload(2), "20 03")
        self.client.send("205#21 03")
        self.panel.wait_for_line("RPDO 1: receiving again")
        for line in ("nothing received yet", "receiving", "receiving again"):
            self.assertEqual(self.panel.count_lines(f"RPDO 1: {line}"), 1)


@shows("PDO", "COB-ID made invalid, changed and valid again")
class Reconfigured(PdoTest):
    """What a master does to map other objects, as far as the node goes along."""

    def setUp(self):
        super().setUp()
        self.client.send(START)
        self.heartbeats("05", 1)

    def sync_and_count(self):
        self.client.send(SYNC)
        return sum(frame.startswith("285") for frame in self.heartbeats("05"))

    def test_an_invalid_pdo_is_not_sent(self):
        self.assertGreater(self.sync_and_count(), 0)
        self.write("1801.1 85 02 00 80")
        self.sync_and_count()
        self.assertEqual(self.sync_and_count(), 0)

    @departs("fixed-mapping")
    def test_the_mapping_stays_when_it_is_made_valid_again(self):
        self.write("1801.1 85 02 00 80")
        self.assertEqual(self.answer_to("1A01.0 00"), "06010002")
        self.assertEqual(self.answer_to("1A01.1 10 04 00 20"), "06010000")
        self.assertEqual(self.answer_to("1A01.0 02"), "06010002")
        self.write("1801.1 85 02 00 00")
        self.client.send(SYNC)
        self.assertEqual(len(self.data_of(TPDO_2)[0].split()), 6)

    def test_a_valid_identifier_is_not_to_be_changed(self):
        self.assertEqual(self.answer_to("1801.1 95 02 00 00"), "06090030")
        self.assertGreater(self.sync_and_count(), 0)

    def test_a_pdo_moves_to_another_identifier(self):
        self.write("1801.1 85 02 00 80", "1801.1 95 02 00 00")
        self.client.send(SYNC)
        self.data_of(0x295)

    def test_an_invalid_pdo_is_not_received(self):
        self.write("1400.1 05 02 00 80")
        self.client.send("205#20 03")
        self.assertEqual(self.upload(2), "58 02")

    def test_it_is_received_on_another_identifier(self):
        self.write("1400.1 05 02 00 80", "1400.1 15 02 00 00")
        self.client.send("205#20 03")
        self.assertEqual(self.upload(2), "58 02")
        self.client.send("215#20 03")
        self.assertEqual(self.upload(2), "20 03")

    @shows("PDO", "transmission type changed in OPERATIONAL")
    def test_from_synchronous_to_event_driven(self):
        self.write("1801.2 FF")
        self.data_of(TPDO_2, count=3)


@shows("NMT", "services that a state does not have")
class OutsideOperational(PdoTest):
    def test_pre_operational(self):
        self.client.send(SYNC, "205#20 03", "305#00", SYNC)
        self.assertEqual(self.pdos(self.heartbeats("7F", 5)), [])
        self.assertEqual((self.upload(2), self.upload(5)), ("58 02", "01"))

    def test_pre_operational_again(self):
        self.client.send(START)
        self.heartbeats("05", 1)
        self.client.send(ENTER_PRE_OPERATIONAL)
        self.heartbeats("7F", 1)
        self.test_pre_operational()

    def test_stopped(self):
        self.client.send(START)
        self.heartbeats("05", 1)
        self.client.send(STOP)
        self.heartbeats("04", 1)
        self.client.send(SYNC, "205#20 03", "305#00", SYNC)
        self.assertEqual(self.pdos(self.heartbeats("04", 5)), [])
        self.client.send(ENTER_PRE_OPERATIONAL)
        self.heartbeats("7F", 1)
        self.assertEqual((self.upload(2), self.upload(5)), ("58 02", "01"))


if __name__ == "__main__":
    unittest.main()
