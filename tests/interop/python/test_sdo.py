"""The SDO server of a running program, frame by frame, seen by python-can.

| covered                                                      | kind       |
|--------------------------------------------------------------|------------|
| expedited upload of 1, 2, 3 and 4 bytes, standard objects    | functional |
| segmented upload, every frame                                | functional |
| expedited download: 0x1017 changes the heartbeat, 0x1010     | functional |
| segmented download to an object that may not be written      | robustness |
| unknown object, sub-index, command specifier; size; access   | robustness |
| repeated toggle, a master that stops in the middle           | robustness |
| texts of lengths around each edge, both ways, with and       | functional |
|   without an announced size                                  |            |
| expedited download of each size and of each text             | functional |
| what departs from the standard, case by case                 | functional |
"""

import unittest

from case import PanelTest
from features import departs, shows


@shows("SDO server", "upload, expedited of 1 to 4 bytes")
class Upload(PanelTest):
    def test_device_name(self):
        self.assert_answers("605#40 08 10 00 00 00 00 00", "585#43 08 10 00 54 41 56 4F")

    def test_device_type(self):
        self.assert_answers("605#40 00 10 00 00 00 00 00", "585#43 00 10 00 00 00 00 00")

    def test_one_byte(self):
        self.assert_answers("605#40 18 10 00 00 00 00 00", "585#4F 18 10 00 04 00 00 00")

    def test_two_bytes(self):
        self.assert_answers("605#40 17 10 00 00 00 00 00", "585#4B 17 10 00 E8 03 00 00")

    def test_three_characters(self):
        self.assert_answers("605#40 09 10 00 00 00 00 00", "585#47 09 10 00 31 2E 30 00")

    def test_vendor_id(self):
        self.assert_answers("605#40 18 10 01 00 00 00 00", "585#43 18 10 01 C7 03 00 00")

    def test_cob_ids_that_depend_on_the_node_id(self):
        self.assert_answers(
            "605#40 14 10 00 00 00 00 00", "585#43 14 10 00 85 00 00 00",
            "605#40 00 12 01 00 00 00 00", "585#43 00 12 01 05 06 00 00",
            "605#40 00 12 02 00 00 00 00", "585#43 00 12 02 85 05 00 00")

    @shows("SDO server", "upload in segments")
    def test_segmented(self):
        self.assert_answers(
            "605#40 0A 10 00 00 00 00 00", "585#41 0A 10 00 09 00 00 00",
            "605#60 00 00 00 00 00 00 00", "585#00 75 6E 64 65 66 69 6E",
            "605#70 00 00 00 00 00 00 00", "585#1B 65 64 00 00 00 00 00")

    @shows("SDO server", "unknown object")
    def test_unknown_object(self):
        self.assert_answers("605#40 FF 5F 07 00 00 00 00", "585#80 FF 5F 07 00 00 02 06")

    @departs("unknown-sub-index")
    def test_unknown_sub_index(self):
        self.assert_answers("605#40 18 10 05 00 00 00 00", "585#80 18 10 05 00 00 02 06")

    @shows("SDO server", "toggle bit repeated")
    def test_repeated_toggle(self):
        self.assert_answers(
            "605#40 0A 10 00 00 00 00 00", "585#41 0A 10 00 09 00 00 00",
            "605#60 00 00 00 00 00 00 00", "585#00 75 6E 64 65 66 69 6E",
            "605#60 00 00 00 00 00 00 00", "585#80 0A 10 00 00 00 03 05")

    @shows("SDO server", "time-out of a transfer")
    @departs("server-time-out")
    def test_a_master_that_stops_in_the_middle(self):
        self.assert_answers(
            "605#40 0A 10 00 00 00 00 00", "585#41 0A 10 00 09 00 00 00",
            "605#60 00 00 00 00 00 00 00", "585#00 75 6E 64 65 66 69 6E")
        self.assertEqual(self.client.next(0x585)[0], "585#80 0A 10 00 00 00 04 05")

    @shows("SDO server", "time-out of a transfer")
    def test_the_node_serves_the_next_request_after_a_time_out(self):
        self.assert_answers("605#40 0A 10 00 00 00 00 00", "585#41 0A 10 00 09 00 00 00")
        self.client.wait_for("585#80 0A 10 00 00 00 04 05")
        self.test_segmented()


@shows("SDO server", "unknown command specifiers, block transfer")
class CommandSpecifiers(PanelTest):
    def test_5_6_and_7_are_unknown(self):
        for command in ("A0", "C0", "E0", "FF"):
            with self.subTest(command=command):
                self.assert_answers(f"605#{command} 34 12 56 00 00 00 00",
                                    "585#80 34 12 56 01 00 04 05")

    @shows("SDO server", "frames without a transfer")
    def test_segments_and_aborts_without_a_transfer_are_not_answered(self):
        self.client.send("605#60 00 00 00 00 00 00 00", "605#00 00 00 00 00 00 00 00",
                         "605#80 08 10 00 00 00 00 08")
        self.assert_answers("605#40 08 10 00 00 00 00 00", "585#43 08 10 00 54 41 56 4F")


class Download(PanelTest):
    @departs("size-mismatch")
    def test_another_size_than_that_of_the_type(self):
        self.assert_answers("605#2F 17 10 00 64 00 00 00", "585#80 17 10 00 30 00 09 06",
                            "605#23 17 10 00 64 00 00 00", "585#80 17 10 00 30 00 09 06",
                            "605#40 17 10 00 00 00 00 00", "585#4B 17 10 00 E8 03 00 00")

    @departs("read-only-standard")
    def test_an_object_that_may_not_be_written(self):
        self.assert_answers("605#23 00 10 00 01 00 00 00", "585#80 00 10 00 00 00 00 08")

    @shows("SDO server", "unknown object")
    def test_an_unknown_object(self):
        self.assert_answers("605#23 FF 5F 00 01 00 00 00", "585#80 FF 5F 00 00 00 02 06")

    @departs("refused-behind-confirmation")
    def test_segmented_to_a_text_that_may_not_be_written(self):
        self.assert_answers(
            "605#21 08 10 00 05 00 00 00", "585#60 08 10 00 00 00 00 00",
            "605#05 48 45 4C 4C 4F 00 00", "585#20 00 00 00 00 00 00 00")
        self.assertEqual(self.client.next(0x585)[0], "585#80 08 10 00 23 00 00 08")

    @shows("SDO server", "toggle bit repeated")
    def test_repeated_toggle(self):
        self.assert_answers(
            "605#21 08 10 00 0A 00 00 00", "585#60 08 10 00 00 00 00 00",
            "605#00 41 42 43 44 45 46 47", "585#20 00 00 00 00 00 00 00",
            "605#00 41 42 43 44 45 46 47", "585#80 08 10 00 00 00 03 05")

    @shows("SDO server", "time-out of a transfer")
    def test_a_master_that_stops_in_the_middle(self):
        self.assert_answers("605#21 08 10 00 0A 00 00 00", "585#60 08 10 00 00 00 00 00")
        self.assertEqual(self.client.next(0x585)[0], "585#80 08 10 00 00 00 04 05")

    @shows("DCF", 'written by "save" (0x1010)')
    def test_save_writes_the_description_file(self):
        saved = self.panel.directory / "tavo.dcf"
        self.assertFalse(saved.exists())
        self.assert_answers("605#23 10 10 01 73 61 76 65", "585#60 10 10 01 00 00 00 00")
        self.assertIn("\nParameterName=Producer Heartbeat Time\n", saved.read_text())

    @departs("save-signature")
    def test_after_save_the_object_holds_the_signature(self):
        for sub_index in ("01", "02"):
            with self.subTest(sub_index=sub_index):
                self.assert_answers(f"605#40 10 10 {sub_index} 00 00 00 00", f"585#43 10 10 {sub_index} 01 00 00 00",
                                    f"605#23 10 10 {sub_index} 73 61 76 65", f"585#60 10 10 {sub_index} 00 00 00 00",
                                    f"605#40 10 10 {sub_index} 00 00 00 00", f"585#43 10 10 {sub_index} 73 61 76 65")

    @shows("DCF", 'written by "save" (0x1010)')
    def test_save_wants_its_signature(self):
        self.assert_answers("605#23 10 10 01 01 00 00 00", "585#80 10 10 01 23 00 00 08")
        self.assertFalse((self.panel.directory / "tavo.dcf").exists())


@shows("heartbeat", "producer: 0x1017 changed at run time")
class HeartbeatTime(PanelTest):
    ARGUMENTS = ("--heartbeat", "50")

    def test_0_stops_the_heartbeat(self):
        self.client.wait_for("705#7F")
        self.assert_answers("605#2B 17 10 00 00 00 00 00", "585#60 17 10 00 00 00 00 00")
        self.assertIsNone(self.client.receive(0.5))

    def test_a_new_time_starts_it_again(self):
        self.assert_answers("605#2B 17 10 00 00 00 00 00", "585#60 17 10 00 00 00 00 00",
                            "605#2B 17 10 00 64 00 00 00", "585#60 17 10 00 00 00 00 00")
        stamps = [self.client.wait_for("705#7F") for _ in range(3)]
        self.assertGreater(stamps[2] - stamps[1], 0.09)


# At the edges of one to four bytes, of a segment, of two and of three, of 127 segments, and far beyond.
LENGTHS = (1, 2, 3, 4, 5, 6, 7, 8, 13, 14, 15, 20, 21, 22, 100, 888, 889, 890, 2000)
SEGMENT_BYTES = 7
TEXT = "01 20 00"


def segments(data):
    """Command byte and seven bytes of each, in turn."""
    for number, offset in enumerate(range(0, max(len(data), 1), SEGMENT_BYTES)):
        part = data[offset:offset + SEGMENT_BYTES]
        is_last = offset + SEGMENT_BYTES >= len(data)
        command = (number % 2) << 4 | (SEGMENT_BYTES - len(part)) << 1 | is_last
        yield bytes([command]) + part.ljust(SEGMENT_BYTES, b"\0")


class Lengths(PanelTest):
    """Step by step, with all the time in the world between two of them."""

    ARGUMENTS = ("--heartbeat", "0", "--sdo-timeout", "60000")

    def ask(self, request):
        self.client.send(f"605#{request}")
        return bytes.fromhex(self.client.next(0x585)[0].split("#")[1])

    def download(self, data, announced):
        first = f"21 {TEXT} {len(data).to_bytes(4, 'little').hex()}" if announced else f"20 {TEXT} 00 00 00 00"
        self.assertEqual(self.ask(first).hex(), "60012000" + "00" * 4)
        for segment in segments(data):
            self.assertEqual(self.ask(segment.hex()), bytes([0x20 | segment[0] & 0x10]).ljust(8, b"\0"))

    def upload(self):
        """The text, and whether it came in segments."""
        answer = self.ask(f"40 {TEXT} 00 00 00 00")
        if answer[0] != 0x41:
            return answer[4:4 + (4 - (answer[0] >> 2 & 3))], False
        data, toggle = b"", 0
        while True:
            segment = self.ask(f"{0x60 | toggle << 4:02X} 00 00 00 00 00 00 00")
            self.assertEqual(segment[0] >> 4, toggle)
            data += segment[1:8 - (segment[0] >> 1 & 7)]
            if segment[0] & 1:
                self.assertEqual(int.from_bytes(answer[4:], "little"), len(data))
                return data, True
            toggle ^= 1

    def check_each(self, lengths, announced):
        for length in lengths:
            with self.subTest(length=length):
                text = bytes(0x21 + one % 90 for one in range(length))
                self.download(text, announced)
                self.assertEqual(self.upload(), (text, length > 4))

    @shows("SDO server", "download in segments")
    @shows("SDO server", "upload in segments")
    def test_with_an_announced_size(self):
        self.check_each((one for one in LENGTHS if one > 4), True)

    @shows("SDO server", "download in segments")
    @shows("SDO server", "upload in segments")
    def test_without_an_announced_size(self):
        self.check_each(LENGTHS, False)

    @departs("empty-text")
    def test_of_nothing(self):
        self.download(b"", False)
        self.assertEqual(self.ask(f"40 {TEXT} 00 00 00 00")[:4].hex(), "53012000")

    @departs("announced-size")
    def test_other_than_announced(self):
        for announced, text in ((20, b"short"), (5, b"a longer text")):
            with self.subTest(announced=announced):
                self.assertEqual(self.ask(f"21 {TEXT} {announced:02X} 00 00 00").hex(), "60012000" + "00" * 4)
                for segment in segments(text):
                    self.ask(segment.hex())
                self.assertEqual(self.upload()[0], text)


class Expedited(PanelTest):
    @shows("SDO server", "download, expedited of 1 to 4 bytes")
    def test_numbers(self):
        for where, size, value in (("00 20 05", 1, "00"), ("17 10 00", 2, "00 00"), ("00 20 02", 2, "2C 01"),
                                   ("14 10 00", 4, "78 06 00 00"), ("16 10 01", 4, "E8 03 21 00")):
            with self.subTest(where=where):
                data = value + " 00" * (4 - size)
                self.assert_answers(f"605#{0x2F - 4 * (size - 1):02X} {where} {data}", f"585#60 {where} 00 00 00 00",
                                    f"605#40 {where} 00 00 00 00", f"585#{0x4F - 4 * (size - 1):02X} {where} {data}")

    @shows("SDO server", "download, expedited of 1 to 4 bytes")
    def test_texts(self):
        for size, value in ((1, "57 00 00 00"), (2, "57 58 00 00"), (3, "57 58 59 00"), (4, "57 58 59 5A")):
            with self.subTest(size=size):
                self.assert_answers(f"605#{0x2F - 4 * (size - 1):02X} {TEXT} {value}", f"585#60 {TEXT} 00 00 00 00",
                                    f"605#40 {TEXT} 00 00 00 00", f"585#{0x4F - 4 * (size - 1):02X} {TEXT} {value}")

    @shows("SDO server", "download, expedited of 1 to 4 bytes")
    def test_a_number_without_its_size(self):
        self.assert_answers("605#22 00 20 02 2C 01 FF FF", "585#60 00 20 02 00 00 00 00",
                            "605#40 00 20 02 00 00 00 00", "585#4B 00 20 02 2C 01 00 00")

    @departs("limits")
    def test_outside_the_limits(self):
        self.assert_answers("605#2B 00 20 02 B1 04 00 00", "585#80 00 20 02 30 00 09 06",
                            "605#2B 00 20 02 FF FF 00 00", "585#80 00 20 02 30 00 09 06",
                            "605#23 05 10 00 00 00 00 00", "585#80 05 10 00 00 00 00 08",
                            "605#23 16 10 01 00 00 80 00", "585#80 16 10 01 00 00 00 08")

    @departs("short-request")
    def test_of_fewer_than_eight_bytes(self):
        self.assert_answers("605#40 08 10", "585#43 08 10 00 54 41 56 4F",
                            "605#40 17", "585#80 17 00 00 00 00 02 06",
                            "605#2B 00 20 02 2C", "585#60 00 20 02 00 00 00 00",
                            "605#40 00 20 02", "585#4B 00 20 02 2C 00 00 00")


class SegmentedDepartures(PanelTest):
    ARGUMENTS = ("--heartbeat", "0")
    NAME_REQUEST, NAME_ANSWER = "605#40 08 10 00 00 00 00 00", "585#43 08 10 00 54 41 56 4F"

    @departs("segmented-unknown")
    def test_into_what_is_not_there(self):
        for where in ("FF 5F 00", "18 10 05", "00 20 07"):
            with self.subTest(where=where):
                self.client.send(f"605#21 {where} 08 00 00 00", "605#00 41 42 43 44 45 46 47")
                self.assert_answers(self.NAME_REQUEST, self.NAME_ANSWER)

    @departs("segmented-number")
    @departs("refused-behind-confirmation")
    def test_into_a_number(self):
        for where in ("00 20 02", "17 10 00"):
            with self.subTest(where=where):
                self.assert_answers(f"605#20 {where} 00 00 00 00", f"585#60 {where} 00 00 00 00",
                                    "605#0B 2C 01 00 00 00 00 00", "585#20 00 00 00 00 00 00 00")
                self.assertEqual(self.client.next(0x585)[0], f"585#80 {where} 23 00 00 08")

    @departs("segmented-short")
    def test_of_an_announced_size_below_five(self):
        for size in (1, 2, 3, 4):
            with self.subTest(size=size):
                self.assert_answers(f"605#21 {TEXT} {size:02X} 00 00 00", f"585#60 {TEXT} 00 00 00 00",
                                    f"605#40 {TEXT} 00 00 00 00", f"585#43 {TEXT} {size:02X} 00 00 00")
                self.client.send("605#01 41 42 43 44 00 00 00")
                self.assert_answers(self.NAME_REQUEST, self.NAME_ANSWER)

    @departs("abort-of-the-master")
    def test_an_abort_does_not_end_an_upload(self):
        self.assert_answers("605#40 0A 10 00 00 00 00 00", "585#41 0A 10 00 09 00 00 00")
        self.client.send("605#80 0A 10 00 00 00 00 08")
        self.assertEqual(self.client.next(0x585)[0], "585#80 0A 10 00 00 00 04 05")

    @departs("abort-of-the-master")
    def test_an_abort_does_not_end_a_download(self):
        self.assert_answers(f"605#21 {TEXT} 0A 00 00 00", f"585#60 {TEXT} 00 00 00 00")
        self.client.send(f"605#80 {TEXT} 00 00 00 08")
        self.assertEqual(self.client.next(0x585)[0], f"585#80 {TEXT} 00 00 04 05")

    @shows("SDO server", "a transfer in place of another")
    def test_a_new_transfer_after_an_abort(self):
        self.assert_answers("605#40 0A 10 00 00 00 00 00", "585#41 0A 10 00 09 00 00 00")
        self.client.send("605#80 0A 10 00 00 00 00 08")
        self.assert_answers(
            f"605#40 {TEXT} 00 00 00 00", f"585#41 {TEXT} 11 00 00 00",
            "605#60 00 00 00 00 00 00 00", "585#00 54 41 56 4F 20 64 65",
            "605#70 00 00 00 00 00 00 00", "585#10 6D 6F 20 6D 61 63 68",
            "605#60 00 00 00 00 00 00 00", "585#09 69 6E 65 00 00 00 00",
            self.NAME_REQUEST, self.NAME_ANSWER)
        self.assertIsNone(self.client.receive(0.3))


if __name__ == "__main__":
    unittest.main()
