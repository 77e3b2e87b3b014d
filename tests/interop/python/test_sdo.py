"""The SDO server of a running program, frame by frame, seen by python-can.

| covered                                                      | kind       |
|--------------------------------------------------------------|------------|
| expedited upload of 1, 2, 3 and 4 bytes, standard objects    | functional |
| segmented upload, every frame                                | functional |
| expedited download: 0x1017 changes the heartbeat, 0x1010     | functional |
| segmented download to an object that may not be written      | robustness |
| unknown object, sub-index, command specifier; size; access   | robustness |
| repeated toggle, a master that stops in the middle           | robustness |
"""

import unittest

from case import PanelTest


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

    def test_segmented(self):
        self.assert_answers(
            "605#40 0A 10 00 00 00 00 00", "585#41 0A 10 00 09 00 00 00",
            "605#60 00 00 00 00 00 00 00", "585#00 75 6E 64 65 66 69 6E",
            "605#70 00 00 00 00 00 00 00", "585#1B 65 64 00 00 00 00 00")

    def test_unknown_object(self):
        self.assert_answers("605#40 FF 5F 07 00 00 00 00", "585#80 FF 5F 07 00 00 02 06")

    def test_unknown_sub_index(self):
        self.assert_answers("605#40 18 10 05 00 00 00 00", "585#80 18 10 05 00 00 02 06")

    def test_repeated_toggle(self):
        self.assert_answers(
            "605#40 0A 10 00 00 00 00 00", "585#41 0A 10 00 09 00 00 00",
            "605#60 00 00 00 00 00 00 00", "585#00 75 6E 64 65 66 69 6E",
            "605#60 00 00 00 00 00 00 00", "585#80 0A 10 00 00 00 03 05")

    def test_a_master_that_stops_in_the_middle(self):
        self.assert_answers(
            "605#40 0A 10 00 00 00 00 00", "585#41 0A 10 00 09 00 00 00",
            "605#60 00 00 00 00 00 00 00", "585#00 75 6E 64 65 66 69 6E")
        self.assertEqual(self.client.next(0x585)[0], "585#80 0A 10 00 00 00 04 05")

    def test_the_node_serves_the_next_request_after_a_time_out(self):
        self.assert_answers("605#40 0A 10 00 00 00 00 00", "585#41 0A 10 00 09 00 00 00")
        self.client.wait_for("585#80 0A 10 00 00 00 04 05")
        self.test_segmented()


class CommandSpecifiers(PanelTest):
    def test_5_6_and_7_are_unknown(self):
        for command in ("A0", "C0", "E0", "FF"):
            with self.subTest(command=command):
                self.assert_answers(f"605#{command} 34 12 56 00 00 00 00",
                                    "585#80 34 12 56 01 00 04 05")

    def test_segments_and_aborts_without_a_transfer_are_not_answered(self):
        self.client.send("605#60 00 00 00 00 00 00 00", "605#00 00 00 00 00 00 00 00",
                         "605#80 08 10 00 00 00 00 08")
        self.assert_answers("605#40 08 10 00 00 00 00 00", "585#43 08 10 00 54 41 56 4F")


class Download(PanelTest):
    def test_another_size_than_that_of_the_type(self):
        self.assert_answers("605#2F 17 10 00 64 00 00 00", "585#80 17 10 00 30 00 09 06",
                            "605#23 17 10 00 64 00 00 00", "585#80 17 10 00 30 00 09 06",
                            "605#40 17 10 00 00 00 00 00", "585#4B 17 10 00 E8 03 00 00")

    def test_an_object_that_may_not_be_written(self):
        self.assert_answers("605#23 00 10 00 01 00 00 00", "585#80 00 10 00 00 00 00 08")

    def test_an_unknown_object(self):
        self.assert_answers("605#23 FF 5F 00 01 00 00 00", "585#80 FF 5F 00 00 00 02 06")

    def test_segmented_to_a_text_that_may_not_be_written(self):
        self.assert_answers(
            "605#21 08 10 00 05 00 00 00", "585#60 08 10 00 00 00 00 00",
            "605#05 48 45 4C 4C 4F 00 00", "585#20 00 00 00 00 00 00 00")
        self.assertEqual(self.client.next(0x585)[0], "585#80 08 10 00 23 00 00 08")

    def test_repeated_toggle(self):
        self.assert_answers(
            "605#21 08 10 00 0A 00 00 00", "585#60 08 10 00 00 00 00 00",
            "605#00 41 42 43 44 45 46 47", "585#20 00 00 00 00 00 00 00",
            "605#00 41 42 43 44 45 46 47", "585#80 08 10 00 00 00 03 05")

    def test_a_master_that_stops_in_the_middle(self):
        self.assert_answers("605#21 08 10 00 0A 00 00 00", "585#60 08 10 00 00 00 00 00")
        self.assertEqual(self.client.next(0x585)[0], "585#80 08 10 00 00 00 04 05")

    def test_save_writes_the_description_file(self):
        saved = self.panel.directory / "tavo.dcf"
        self.assertFalse(saved.exists())
        self.assert_answers("605#23 10 10 01 73 61 76 65", "585#60 10 10 01 00 00 00 00")
        self.assertIn("\nParameterName=Producer Heartbeat Time\n", saved.read_text())

    def test_save_wants_its_signature(self):
        self.assert_answers("605#23 10 10 01 01 00 00 00", "585#80 10 10 01 23 00 00 08")
        self.assertFalse((self.panel.directory / "tavo.dcf").exists())


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


if __name__ == "__main__":
    unittest.main()
