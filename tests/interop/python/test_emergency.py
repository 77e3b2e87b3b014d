"""What a running program says of its errors over EMCY and the objects for it: nothing. Seen by python-can.

| covered                                                            | kind       |
|--------------------------------------------------------------------|------------|
| no emergency on any identifier, whatever goes wrong                | functional |
| error register, error history                                      | functional |
| 0x1014, 0x1015 hold what is written                                | functional |
| emergencies of other nodes are passed over                         | robustness |
"""

import unittest

from case import PanelTest
from features import departs, shows

EMERGENCIES = range(0x081, 0x100)
# An RPDO that is too long, too short, refused and then missing; requests that are aborted; rubbish.
MISTAKES = ("205#20 03 00", "205#20", "205#FF FF", "605#40 FF 5F 00 00 00 00 00", "605#E0 00 10 00 00 00 00 00",
            "605#2B 00 20 02 FF FF 00 00", "000#55 05", "7E5#00", "080#01 02 03 04 05 06 07 08")


class Emergencies(PanelTest):
    ARGUMENTS = ("--heartbeat", "100")

    def setUp(self):
        super().setUp()
        self.client.send("000#01 05")
        self.client.wait_for("705#05")

    def identifiers_after_mistakes(self):
        """Of all frames until the missing RPDO was noticed, and a little longer."""
        self.client.send(*MISTAKES)
        seen = set()
        while "RPDO 1: reception timed out" not in self.panel.output().splitlines():
            seen.add(self.client.next(*range(0x800))[0].split("#")[0])
        for _ in range(10):
            seen.add(self.client.next(*range(0x800))[0].split("#")[0])
        return {int(one, 16) for one in seen}

    @departs("no-emergency")
    def test_none_for_any_mistake(self):
        for mistake in MISTAKES:
            with self.subTest(mistake=mistake):
                self.client.send(mistake, "605#40 00 10 00 00 00 00 00")
                seen = []
                while "585#43 00 10 00 00 00 00 00" not in seen:
                    seen.append(self.client.next(*range(0x800))[0])
                self.assertEqual([one for one in seen if int(one[:3], 16) in EMERGENCIES], [])

    @departs("no-emergency")
    def test_none_for_an_rpdo_that_is_missing(self):
        seen = self.identifiers_after_mistakes()
        self.assertIn(0x705, seen)
        self.assertEqual(seen & set(EMERGENCIES), set())

    @departs("no-emergency")
    def test_none_on_another_identifier(self):
        self.assert_answers("605#23 14 10 00 F0 06 00 00", "585#60 14 10 00 00 00 00 00")
        seen = self.identifiers_after_mistakes()
        self.assertEqual(seen & {0x6F0, *EMERGENCIES}, set())

    @departs("error-register")
    def test_the_error_register_stays_0(self):
        self.identifiers_after_mistakes()
        self.assert_answers("605#40 01 10 00 00 00 00 00", "585#4F 01 10 00 00 00 00 00")

    @departs("error-history")
    def test_the_history_is_one_empty_entry(self):
        self.identifiers_after_mistakes()
        self.assert_answers("605#40 03 10 00 00 00 00 00", "585#4F 03 10 00 01 00 00 00",
                            "605#40 03 10 01 00 00 00 00", "585#43 03 10 01 00 00 00 00",
                            "605#2F 03 10 00 00 00 00 00", "585#80 03 10 00 00 00 00 08")

    @shows("EMCY", "0x1014 and 0x1015 hold what is written")
    def test_objects(self):
        for where, size, value in (("14 10", 0x23, "90 00 00 00"), ("14 10", 0x23, "85 00 00 80"),
                                   ("15 10", 0x2B, "FF FF 00 00"), ("15 10", 0x2B, "00 00 00 00")):
            with self.subTest(where=where, value=value):
                self.assert_answers(f"605#{size:02X} {where} 00 {value}", f"585#60 {where} 00 00 00 00 00",
                                    f"605#40 {where} 00 00 00 00 00", f"585#{size + 0x20:02X} {where} 00 {value}")

    @shows("EMCY", "emergencies of other nodes are passed over")
    def test_of_others(self):
        for node in (1, 4, 6, 127):
            with self.subTest(node=node):
                self.client.send(f"{0x80 + node:03X}#30 81 11 00 00 00 00 00")
                self.assert_answers("605#40 01 10 00 00 00 00 00", "585#4F 01 10 00 00 00 00 00",
                                    "605#40 03 10 01 00 00 00 00", "585#43 03 10 01 00 00 00 00")
                self.client.wait_for("705#05")


if __name__ == "__main__":
    unittest.main()
