"""Transmission types, COB-IDs and the procedure of mapping anew, as a master tries them on a running program.

| covered                                                                             | kind       |
|-------------------------------------------------------------------------------------|------------|
| TPDO: each of the 256 transmission types: taken or refused, and read back           | functional |
| TPDO: types 0, 1, 2, 3, 7, 240 by SYNC; 254 and 255 by event timer; 252 and 253     | functional |
| RPDO: types 0, 1, 240 by SYNC; 254 and 255 at once                                  | functional |
| the procedure for mapping anew, on each of the PDOs                                 | functional |
| COB-IDs with bits 29 and 30, and above 0x780; sub-index 0                           | robustness |
| a frame behind the request that makes its identifier served                         | robustness |
| SYNC of every length, outside OPERATIONAL, with the producer's bit                  | robustness |
"""

import unittest

from case import PanelTest
from clients import FrameClient
from features import departs, shows
from panel import wait_until

AT_REST = "585#4B 00 20 01 D7 00 00 00"
COUNTER_TURNS_AT = 251
EVENT_DRIVEN = (0xFE, 0xFF)
RESERVED_TYPES = range(0xF1, 0xFC)


class TypesTest(PanelTest):
    """A machine at rest, whose TPDOs have no reason of their own to go out, and a node that can be asked between two SYNCs."""

    ARGUMENTS = ("--heartbeat", "100")

    def setUp(self):
        super().setUp()
        self.client.wait_for("705#7F")
        self.syncs = 0
        self.write("2F 00 20 05 00 00 00 00", "2B 00 18 05 00 00 00 00")
        self.wait_for_rest()

    def ask(self, request):
        self.client.send(f"605#{request}")
        return self.client.next(0x585)[0]

    def write(self, *requests):
        for request in requests:
            self.assertEqual(self.ask(request), f"585#60 {request[3:11]} 00 00 00 00")

    def wait_for_rest(self):
        wait_until(lambda: self.ask("40 00 20 01 00 00 00 00") == AT_REST, "a machine that has cooled down")

    def start_node(self):
        self.client.send("000#01 05")
        self.client.wait_for("705#05")

    def frames_until_answer(self, *frames):
        """What follows the frames, up to the answer to a request behind them."""
        self.client.send(*frames, "605#40 00 10 00 00 00 00 00")
        seen = []
        while "585#43 00 10 00 00 00 00 00" not in seen:
            seen.append(self.client.next(*range(0x800))[0])
        return seen

    def count_after_sync(self, identifier="285", sync="080#"):
        """How often the TPDO comes with one SYNC."""
        self.syncs += 1
        return sum(frame.startswith(identifier) for frame in self.frames_until_answer(sync))


class EveryTransmissionType(TypesTest):
    def answer_to(self, where, number):
        refused = number in RESERVED_TYPES
        return f"585#80 {where} 02 30 00 09 06" if refused else f"585#60 {where} 02 00 00 00 00"

    def check_all(self, where):
        held = None
        for number in range(0x100):
            held = held if number in RESERVED_TYPES else number
            self.assert_answers(f"605#2F {where} 02 {number:02X} 00 00 00", self.answer_to(where, number),
                                f"605#40 {where} 02 00 00 00 00", f"585#4F {where} 02 {held:02X} 00 00 00")
            self.cases += 1

    @shows("PDO", "every transmission type: taken or refused")
    def test_of_a_tpdo(self):
        self.check_all("01 18")

    @shows("PDO", "every transmission type: taken or refused")
    def test_of_an_rpdo(self):
        self.check_all("01 14")


class SynchronousTypes(TypesTest):
    def check_cyclic(self, number, syncs):
        self.write(f"2F 01 18 02 {number:02X} 00 00 00")
        for sync in range(syncs):
            counter = self.syncs % COUNTER_TURNS_AT + 1
            self.assertEqual(self.count_after_sync(), (sync == 0) + (counter % number == 0), f"SYNC {self.syncs}")

    @shows("PDO", "TPDO of types 1 to 240: with every n-th SYNC")
    def test_cyclic(self):
        self.start_node()
        for number, syncs in ((1, 5), (2, 9), (3, 9), (7, 22), (100, 105)):
            with self.subTest(number=number):
                self.check_cyclic(number, syncs)

    @departs("counter-of-251")
    def test_across_the_turn_of_the_counter(self):
        self.start_node()
        for number, syncs in ((240, 245), (7, 20)):
            with self.subTest(number=number):
                self.check_cyclic(number, syncs)
        self.assertGreater(self.syncs, COUNTER_TURNS_AT)

    @shows("PDO", "TPDO of type 0: with the SYNC after a change")
    def test_acyclic(self):
        self.write("2F 01 18 02 00 00 00 00")
        self.start_node()
        self.count_after_sync()
        self.assertEqual(self.count_after_sync(), 0)
        self.write("2F 00 20 05 01 00 00 00")
        wait_until(lambda: self.ask("40 00 20 01 00 00 00 00") != AT_REST, "a machine that runs")
        self.write("2F 00 20 05 00 00 00 00")
        self.wait_for_rest()
        self.assertEqual((self.count_after_sync(), self.count_after_sync()), (1, 0))

    @departs("remote-request")
    def test_252_and_253_are_taken_and_not_sent(self):
        for number in (0xFC, 0xFD):
            with self.subTest(number=number):
                self.write(f"2F 01 18 02 {number:02X} 00 00 00", "2B 01 18 05 0A 00 00 00")
                self.start_node()
                self.assertEqual(self.count_after_sync() + self.count_after_sync(), 0)
                self.write("2F 00 20 05 01 00 00 00", "2F 00 20 05 00 00 00 00")
                self.wait_for_rest()
                self.assertEqual(self.count_after_sync(), 0)
                self.client.send("000#80 05")
                self.client.wait_for("705#7F")


class EventDrivenTypes(TypesTest):
    @shows("PDO", "TPDO of types 254 and 255: event timer")
    def test_event_timer(self):
        self.start_node()
        for number in EVENT_DRIVEN:
            with self.subTest(number=number):
                self.write(f"2F 01 18 02 {number:02X} 00 00 00", "2B 01 18 05 32 00 00 00")
                frames = [self.client.next(0x285)[0] for _ in range(4)]
                self.assertEqual(len(set(frames)), 1)
                self.write("2B 01 18 05 00 00 00 00")

    @shows("PDO", "RPDO, event-driven")
    def test_received_at_once(self):
        self.start_node()
        for run, number in enumerate(EVENT_DRIVEN):
            with self.subTest(number=number):
                self.write(f"2F 01 14 02 {number:02X} 00 00 00")
                self.client.send(f"305#{1 - run:02X}")
                self.assertEqual(self.ask("40 00 20 05 00 00 00 00"), f"585#4F 00 20 05 {1 - run:02X} 00 00 00")

    @shows("PDO", "RPDO, synchronous")
    def test_received_with_sync(self):
        self.start_node()
        for run, number in enumerate((0x00, 0x01, 0xF0)):
            with self.subTest(number=number):
                before, after = (f"585#4F 00 20 05 {value % 2:02X} 00 00 00" for value in (run, run + 1))
                self.write(f"2F 01 14 02 {number:02X} 00 00 00")
                self.client.send(f"305#{(run + 1) % 2:02X}")
                self.assertEqual(self.ask("40 00 20 05 00 00 00 00"), before)
                self.client.send("080#")
                self.assertEqual(self.ask("40 00 20 05 00 00 00 00"), after)


class MappedAnew(TypesTest):
    @departs("fixed-mapping")
    def test_the_procedure_is_refused_where_it_writes_the_mapping(self):
        for where, mapping, cob_id, entries in (("00 14", "00 16", 0x205, 1), ("01 14", "01 16", 0x305, 1),
                                                ("00 18", "00 1A", 0x185, 4), ("01 18", "01 1A", 0x285, 2)):
            with self.subTest(mapping=mapping):
                low, high = (f"{one:02X}" for one in cob_id.to_bytes(2, "little"))
                self.write(f"23 {where} 01 {low} {high} 00 80")
                self.assert_answers(
                    f"605#2F {mapping} 00 00 00 00 00", f"585#80 {mapping} 00 02 00 01 06",
                    f"605#23 {mapping} 01 10 01 00 20", f"585#80 {mapping} 01 00 00 01 06",
                    f"605#2F {mapping} 00 01 00 00 00", f"585#80 {mapping} 00 02 00 01 06")
                self.write(f"23 {where} 01 {low} {high} 00 00")
                self.assert_answers(f"605#40 {mapping} 00 00 00 00 00", f"585#4F {mapping} 00 {entries:02X} 00 00 00")


class CobIds(TypesTest):
    def move(self, cob_id):
        """What the object holds after the TPDO was made invalid and got another one."""
        self.write("23 01 18 01 85 02 00 80", f"23 01 18 01 {cob_id.to_bytes(4, 'little').hex(' ').upper()}")
        return int.from_bytes(bytes.fromhex(self.ask("40 01 18 01 00 00 00 00").split("#")[1])[4:], "little")

    @departs("remote-request")
    def test_bit_30_is_set_by_the_node(self):
        self.assertEqual(self.move(0x285), 0x40000285)

    @departs("extended-cob-id")
    def test_of_29_bits(self):
        self.start_node()
        self.assertEqual(self.move(0x20000291), 0x60000291)
        self.assertGreater(self.count_after_sync("291"), 0)
        self.assertEqual(self.move(0x20012345), 0x60012345)
        seen = self.frames_until_answer("080#")
        self.assertEqual([frame for frame in seen if not frame.startswith(("585", "705"))], [])

    @departs("restricted-cob-id")
    def test_above_780(self):
        self.start_node()
        for cob_id in (0x780, 0x781, 0x7FF):
            with self.subTest(cob_id=hex(cob_id)):
                self.assertEqual(self.move(cob_id), 0x40000000 | cob_id)
                self.assertGreater(self.count_after_sync(f"{cob_id:03X}"), 0)

    @shows("PDO", "restricted COB-IDs")
    def test_restricted(self):
        self.write("23 01 18 01 85 02 00 80")
        for cob_id in (0x001, 0x07F, 0x101, 0x180, 0x581, 0x5FF, 0x601, 0x67F, 0x6E0, 0x6FF, 0x701, 0x77F):
            with self.subTest(cob_id=hex(cob_id)):
                low, high = (f"{one:02X}" for one in cob_id.to_bytes(2, "little"))
                self.assert_answers(f"605#23 01 18 01 {low} {high} 00 00", "585#80 01 18 01 30 00 09 06")

    @departs("pdo-entries-count")
    def test_the_number_of_entries_takes_a_value(self):
        for where in ("00 14", "01 14", "00 18", "01 18"):
            with self.subTest(where=where):
                self.write(f"2F {where} 00 02 00 00 00", f"2F {where} 00 05 00 00 00")


class Sync(TypesTest):
    def setUp(self):
        super().setUp()
        self.start_node()
        self.count_after_sync()

    @departs("sync-length")
    def test_of_every_length(self):
        for length in range(9):
            with self.subTest(length=length):
                self.assertEqual(self.count_after_sync(sync=f"080#{'2A' * length}"), 1)

    @departs("sync-producer-bit")
    def test_the_bit_of_a_producer(self):
        self.write("23 05 10 00 80 00 00 40")
        self.assertEqual(self.count_after_sync(), 0)
        self.write("23 05 10 00 80 00 00 00")
        self.assertEqual(self.count_after_sync(), 1)

    @shows("SYNC", "another COB-ID at run time")
    def test_another_identifier(self):
        for cob_id in (0x081, 0x001, 0x7FF, 0x080):
            with self.subTest(cob_id=hex(cob_id)):
                low, high = (f"{one:02X}" for one in cob_id.to_bytes(2, "little"))
                self.write(f"23 05 10 00 {low} {high} 00 00")
                self.assertEqual(self.count_after_sync(sync=f"{cob_id:03X}#"), 1)
                self.assertEqual(self.count_after_sync(sync="090#"), 0)

    @shows("SYNC", "outside OPERATIONAL")
    def test_outside_operational(self):
        self.client.send("000#80 05")
        self.client.wait_for("705#7F")
        self.assertEqual(self.count_after_sync(), 0)


class UnservedIdentifier(TypesTest):
    """Both frames in one segment of TCP, so that they arrive together."""

    CLIENT = FrameClient

    @departs("unserved-identifier")
    def test_a_frame_behind_the_request_that_makes_it_served(self):
        self.start_node()
        self.count_after_sync()
        together = self.frames_until_answer("605#23 05 10 00 81 00 00 00", "081#")
        self.assertEqual([frame for frame in together if frame.startswith("285")], [])
        self.assertEqual(self.count_after_sync(sync="081#"), 1)


if __name__ == "__main__":
    unittest.main()
