"""The SDO client of a running program, against a server that is played by hand.

| covered                                                                           | kind       |
|-----------------------------------------------------------------------------------|------------|
| number: expedited, with and without its size, negative; too long                  | functional |
| text: expedited of each length, in segments                                       | functional |
| download of number and text, every segment                                        | functional |
| upload: silence, late answer, wrong toggle, identifier, object, abort             | robustness |
| download: silence, late answer, wrong toggle, identifier, object, abort           | robustness |
| unknown command specifier                                                         | robustness |
| after each of these the client goes on                                            | robustness |
| the channel's parameters; the place that it shares with the server                | robustness |
"""

import unittest

from case import PanelTest
from clients import FrameClient
from features import departs, shows

UPLOAD = "620#40 00 20 02 00 00 00 00"
UPLOAD_OF_TEXT = "620#40 01 20 00 00 00 00 00"
NUMBER_700 = "5A0#4B 00 20 02 BC 02 00 00"
FOUR_CHARACTERS = "5A0#43 01 20 00 57 58 59 5A"
DOWNLOAD_900 = "620#2B 00 20 02 84 03 00 00"
CONFIRMATION = "5A0#60 00 20 02 00 00 00 00"
UPLOAD_TIMEOUT = "5A0#80 00 20 02 00 00 04 05"
TEXT_TIMEOUT = "5A0#80 01 20 00 00 00 04 05"
DOWNLOAD_TIMEOUT = "620#80 00 20 02 00 00 04 05"

# Node 6, which the master asks about what it knows, and commands.
MIRROR = "606#40 00 21 01 00 00 00 00"
MIRROR_OF_TEXT = "606#40 00 21 02 00 00 00 00"
SEND_900 = "606#2B 01 21 01 84 03 00 00"
SEND_TEXT = ("606#21 01 21 02 0A 00 00 00", "606#00 41 42 43 44 45 46 47", "606#19 48 49 4A 00 00 00 00")


class ByHandTest(PanelTest):
    """Node 7 serves the bus, node 6 is the client of node 32, which is the test itself."""

    CLIENT = FrameClient
    ARGUMENTS = ("--node-id", "7", "--heartbeat", "0")
    SDO_TIMEOUT = "60000"

    def setUp(self):
        super().setUp()
        self.watcher = self.start("--node-id", "6", "--heartbeat", "0", "--peer", "32",
                                  "--sdo-timeout", self.SDO_TIMEOUT,
                                  bus=f"socketcand:127.0.0.1:{self.panel.port}/bus0")
        self.client.wait_for("706#00")

    def exchange(self, *frames):
        """Frames of the client, each answered with the one behind it; None: not answered."""
        for request, answer in zip(frames[::2], frames[1::2]):
            self.client.wait_for(request)
            if answer:
                self.client.send(answer)

    def assert_holds(self, mirror, data):
        """What the master reads from the client; data may be a pattern."""
        self.client.send(mirror)
        self.assertRegex(self.client.next(0x586)[0], f"^586#{data}$")


@shows("SDO client", "upload, expedited and in segments")
class Upload(ByHandTest):
    def setUp(self):
        super().setUp()
        self.client.wait_for(UPLOAD)

    def test_number(self):
        self.client.send(NUMBER_700)
        self.assert_holds(MIRROR, "4B 00 21 01 BC 02 00 00")

    def test_negative_number(self):
        self.client.send("5A0#4B 00 20 02 FE FF 00 00")
        self.assert_holds(MIRROR, "4B 00 21 01 FE FF 00 00")

    def test_number_without_its_size(self):
        self.client.send("5A0#42 00 20 02 BC 02 FF FF")
        self.assert_holds(MIRROR, "4B 00 21 01 BC 02 00 00")

    def test_number_of_one_byte(self):
        self.client.send("5A0#4F 00 20 02 BC 00 00 00")
        self.assert_holds(MIRROR, "4B 00 21 01 BC 00 00 00")

    @shows("SDO client", "answers to something else")
    def test_what_does_not_belong_to_the_request_is_passed_over(self):
        for what, answer in (
                ("another identifier", "5A1#4B 00 20 02 01 00 00 00"),
                ("another sub-index", "5A0#4B 00 20 01 02 00 00 00"),
                ("another index", "5A0#4B 01 20 02 03 00 00 00"),
                ("more bytes than the type has", "5A0#43 00 20 02 04 00 00 00"),
                ("neither expedited nor with a size", "5A0#40 00 20 02 05 00 00 00"),
                ("a segment", "5A0#01 06 00 00 00 00 00 00"),
                ("a confirmation", CONFIRMATION)):
            with self.subTest(what=what):
                self.client.send(answer)
                self.assert_holds(MIRROR, "4B 00 21 01 00 00 00 00")
        self.client.send(NUMBER_700)
        self.assert_holds(MIRROR, "4B 00 21 01 BC 02 00 00")

    @shows("SDO client", "unknown command specifiers")
    def test_an_unknown_command_specifier_is_answered_with_an_abort(self):
        for command in ("A0", "C0", "E0"):
            self.client.send(f"5A0#{command} 00 20 02 00 00 00 00")
            self.client.wait_for("620#80 00 20 02 01 00 04 05")

    def test_text_follows_number(self):
        self.client.send(NUMBER_700)
        self.exchange(UPLOAD_OF_TEXT, FOUR_CHARACTERS)
        self.assert_holds(MIRROR_OF_TEXT, "43 00 21 02 57 58 59 5A")

    def test_short_texts(self):
        for answer, data in (("4F 01 20 00 57 00 00 00", "4F 00 21 02 57 00 00 00"),
                             ("4B 01 20 00 57 58 00 00", "4B 00 21 02 57 58 00 00"),
                             ("47 01 20 00 57 58 59 00", "47 00 21 02 57 58 59 00")):
            self.client.send(NUMBER_700)
            self.exchange(UPLOAD_OF_TEXT, f"5A0#{answer}")
            self.assert_holds(MIRROR_OF_TEXT, data)
            self.client.wait_for(UPLOAD)

    def test_text_in_segments(self):
        self.client.send(NUMBER_700)
        self.exchange(UPLOAD_OF_TEXT, "5A0#41 01 20 00 0A 00 00 00",
                      "620#60 00 00 00 00 00 00 00", "5A0#00 41 42 43 44 45 46 47",
                      "620#70 00 00 00 00 00 00 00", "5A0#19 48 49 4A 00 00 00 00")
        self.assert_holds(MIRROR_OF_TEXT, "41 00 21 02 0A 00 00 00")
        self.client.send("606#60 00 00 00 00 00 00 00", "606#70 00 00 00 00 00 00 00")
        self.client.wait_for("586#00 41 42 43 44 45 46 47")
        self.client.wait_for("586#19 48 49 4A 00 00 00 00")

    def test_a_segment_with_the_wrong_toggle_or_identifier_is_passed_over(self):
        self.client.send(NUMBER_700)
        self.exchange(UPLOAD_OF_TEXT, "5A0#41 01 20 00 05 00 00 00",
                      "620#60 00 00 00 00 00 00 00", "5A0#15 58 58 58 58 58 00 00")
        self.client.send("5A1#05 59 59 59 59 59 00 00", "5A0#05 41 42 43 44 45 00 00")
        self.assert_holds(MIRROR_OF_TEXT, "41 00 21 02 05 00 00 00")
        self.client.send("606#60 00 00 00 00 00 00 00")
        self.client.wait_for("586#05 41 42 43 44 45 00 00")


@shows("SDO client", "time-out and late answers")
class UploadTimeout(ByHandTest):
    SDO_TIMEOUT = "300"

    def wait_until_invalid(self, what):
        self.watcher.wait_for_line(f"peer: {what} not readable")

    @departs("client-abort-identifier")
    def test_silence(self):
        self.exchange(UPLOAD, None, UPLOAD_TIMEOUT, None, UPLOAD_OF_TEXT, None, TEXT_TIMEOUT, None)
        self.wait_until_invalid("set point")
        self.wait_until_invalid("device text")
        self.client.wait_for(UPLOAD)

    def test_a_late_answer_is_passed_over(self):
        self.exchange(UPLOAD_TIMEOUT, NUMBER_700)
        self.assert_holds(MIRROR, "4B 00 21 01 00 00 00 00")
        self.wait_until_invalid("set point")
        self.exchange(TEXT_TIMEOUT, FOUR_CHARACTERS)
        self.wait_until_invalid("device text")
        self.assertEqual(self.watcher.count_lines("peer: set point readable again"), 0)

    @shows("SDO client", "aborts of the server")
    def test_an_abort_from_the_server(self):
        self.exchange(UPLOAD, "5A0#80 00 20 02 00 00 02 06")
        self.wait_until_invalid("set point")
        self.client.wait_for(UPLOAD)

    def test_an_answer_to_a_later_request(self):
        self.wait_until_invalid("set point")
        self.exchange(UPLOAD_TIMEOUT, None, UPLOAD_TIMEOUT, None)
        for _ in range(20):
            self.exchange(UPLOAD, NUMBER_700)
            if self.watcher.count_lines("peer: set point readable again"):
                break
        self.watcher.wait_for_line("peer: set point readable again")
        self.assert_holds(MIRROR, "4B 00 21 01 BC 02 00 00")


@departs("client-toggle")
class WrongToggle(ByHandTest):
    """A time-out that is long enough for the answers before it, whatever else the machine has to do."""

    SDO_TIMEOUT = "3000"

    def test_a_segment_with_the_wrong_toggle_does_not_keep_it_going(self):
        self.exchange(UPLOAD, NUMBER_700, UPLOAD_OF_TEXT, "5A0#41 01 20 00 05 00 00 00",
                      "620#60 00 00 00 00 00 00 00", "5A0#15 58 58 58 58 58 00 00", TEXT_TIMEOUT, None)
        self.watcher.wait_for_line("peer: device text not readable")


@shows("SDO client", "download, expedited and in segments")
class Download(ByHandTest):
    """The upload at the start is left open, so that there is nothing else on the channel."""

    def setUp(self):
        super().setUp()
        self.client.wait_for(UPLOAD)

    def test_number(self):
        self.client.send(SEND_900)
        self.client.wait_for(DOWNLOAD_900)
        self.assert_holds(MIRROR, "4B 00 21 01 00 00 00 00")
        self.client.send(CONFIRMATION)
        self.assert_holds(MIRROR, "4B 00 21 01 84 03 00 00")

    @shows("SDO client", "aborts of the server")
    def test_a_refused_number(self):
        self.client.send(SEND_900)
        self.exchange(DOWNLOAD_900, "5A0#80 00 20 02 30 00 09 06")
        self.client.send(CONFIRMATION)
        self.assert_holds(MIRROR, "4B 00 21 01 00 00 00 00")

    @shows("SDO client", "answers to something else")
    def test_a_confirmation_of_something_else_is_passed_over(self):
        self.client.send(SEND_900)
        self.client.wait_for(DOWNLOAD_900)
        for answer in ("5A1#60 00 20 02 00 00 00 00", "5A0#60 00 20 01 00 00 00 00",
                       "5A0#60 01 20 02 00 00 00 00", "5A0#20 00 00 00 00 00 00 00"):
            with self.subTest(answer=answer):
                self.client.send(answer)
                self.assert_holds(MIRROR, "4B 00 21 01 00 00 00 00")
        self.client.send(CONFIRMATION)
        self.assert_holds(MIRROR, "4B 00 21 01 84 03 00 00")

    def test_text_in_segments(self):
        self.client.send(*SEND_TEXT)
        self.exchange("620#21 01 20 00 0A 00 00 00", "5A0#60 01 20 00 00 00 00 00",
                      "620#00 41 42 43 44 45 46 47", "5A0#20 00 00 00 00 00 00 00",
                      "620#19 48 49 4A 00 00 00 00", None)
        self.assert_holds(MIRROR_OF_TEXT, "53 00 21 02 .. .. .. ..")
        self.client.send("5A0#30 00 00 00 00 00 00 00")
        self.assert_holds(MIRROR_OF_TEXT, "41 00 21 02 0A 00 00 00")

    @shows("SDO client", "toggle bit repeated by the server")
    def test_a_repeated_toggle_ends_a_text(self):
        self.client.send(*SEND_TEXT)
        self.exchange("620#21 01 20 00 0A 00 00 00", "5A0#60 01 20 00 00 00 00 00",
                      "620#00 41 42 43 44 45 46 47", "5A0#30 00 00 00 00 00 00 00",
                      "620#80 01 20 00 00 00 03 05", "5A0#20 00 00 00 00 00 00 00")
        self.assert_holds(MIRROR, "4B 00 21 01 00 00 00 00")

    @shows("SDO client", "aborts of the server")
    def test_an_abort_ends_a_text(self):
        self.client.send(*SEND_TEXT)
        self.exchange("620#21 01 20 00 0A 00 00 00", "5A0#80 01 20 00 00 00 00 08")
        self.client.send("5A0#60 01 20 00 00 00 00 00", SEND_900)
        self.assertEqual(self.client.next(0x620)[0], DOWNLOAD_900)


@shows("SDO client", "time-out and late answers")
class DownloadTimeout(ByHandTest):
    SDO_TIMEOUT = "300"

    def test_silence(self):
        self.client.send(SEND_900)
        self.exchange(DOWNLOAD_900, None, DOWNLOAD_TIMEOUT, None)
        self.assert_holds(MIRROR, "4B 00 21 01 00 00 00 00")

    def test_a_late_confirmation_is_passed_over(self):
        self.client.send(SEND_900)
        self.exchange(DOWNLOAD_900, None, DOWNLOAD_TIMEOUT, CONFIRMATION)
        self.assert_holds(MIRROR, "4B 00 21 01 00 00 00 00")

    def test_silence_in_the_middle_of_a_text(self):
        self.client.send(*SEND_TEXT)
        self.exchange("620#21 01 20 00 0A 00 00 00", None, TEXT_TIMEOUT, None)

    def test_the_next_one_goes_out(self):
        for _ in range(2):
            self.client.send(SEND_900)
            self.exchange(DOWNLOAD_900, None, DOWNLOAD_TIMEOUT, None)


class Channel(ByHandTest):
    """The parameters of the client's channel, as a master changes them."""

    @departs("client-channel")
    def test_it_is_not_made_invalid_and_takes_any_identifier(self):
        for sub_index, low, high in ((1, "20", "06"), (2, "A0", "05")):
            with self.subTest(sub_index=sub_index):
                where = f"80 12 {sub_index:02X}"
                self.assert_answers(f"606#23 {where} {low} {high} 00 80", f"586#80 {where} 00 00 00 08",
                                    f"606#23 {where} 21 04 00 00", f"586#60 {where} 00 00 00 00",
                                    f"606#40 {where} 00 00 00 00", f"586#43 {where} 21 04 00 00",
                                    f"606#23 {where} {low} {high} 00 00", f"586#60 {where} 00 00 00 00")


class OneSlot(ByHandTest):
    @departs("one-slot")
    def test_an_upload_of_the_client_gives_way_to_that_of_a_master(self):
        self.exchange(UPLOAD, NUMBER_700, UPLOAD_OF_TEXT, "5A0#41 01 20 00 0A 00 00 00")
        self.client.wait_for("620#60 00 00 00 00 00 00 00")
        self.client.send("606#40 0A 10 00 00 00 00 00")
        self.client.wait_for("586#41 0A 10 00 09 00 00 00")
        self.client.send("5A0#00 41 42 43 44 45 46 47", MIRROR)
        self.assertEqual(self.client.next(0x586, 0x620)[0], "586#4B 00 21 01 BC 02 00 00")


if __name__ == "__main__":
    unittest.main()
