"""Application objects of a running program over SDO: the demo machine, and objects out of an EDS.

| covered                                                       | kind       |
|---------------------------------------------------------------|------------|
| demo: values move, settings reach the machine                 | functional |
| limits of a setting from both sides, read-only values         | robustness |
| text: segmented and expedited, both directions                | functional |
| EDS: each type of a variable, limits, access, node-ID         | functional |
| DCF: node-ID and heartbeat of the file, and what goes before  | functional |
| warnings of an EDS on the console                             | functional |
"""

import pathlib
import tempfile
import unittest

from case import PanelTest
from features import shows
from panel import wait_until


@shows("SDO server", "application objects of a running machine")
class DemoMachine(PanelTest):
    def upload(self, request):
        self.client.send(request)
        return self.client.next(0x585)[0]

    def wait_for_another_answer(self, request):
        first = self.upload(request)
        wait_until(lambda: self.upload(request) != first, f"another answer to {request}")
        return first

    def test_the_number_of_entries(self):
        self.assert_answers("605#40 00 20 00 00 00 00 00", "585#4F 00 20 00 06 00 00 00",
                            "605#40 00 20 07 00 00 00 00", "585#80 00 20 07 00 00 02 06")

    def test_the_temperature_moves(self):
        first = self.wait_for_another_answer("605#40 00 20 01 00 00 00 00")
        self.assertRegex(first, "^585#4B 00 20 01 .. .. 00 00$")

    def test_pieces_are_counted(self):
        first = self.wait_for_another_answer("605#40 00 20 03 00 00 00 00")
        self.assertRegex(first, "^585#43 00 20 03 .. 00 00 00$")

    def test_the_12_bit_value_takes_two_bytes(self):
        first = self.wait_for_another_answer("605#40 00 20 04 00 00 00 00")
        self.assertRegex(first, "^585#4B 00 20 04 .. 0. 00 00$")

    def test_a_stopped_machine_raises_its_alarm(self):
        self.assert_answers("605#2F 00 20 05 00 00 00 00", "585#60 00 20 05 00 00 00 00")
        wait_until(lambda: self.upload("605#40 00 20 06 00 00 00 00") ==
                   "585#4B 00 20 06 04 00 00 00", "the alarm")

    @shows("SDO server", "values that do not fit the type")
    def test_a_boolean_takes_no_2(self):
        self.assert_answers("605#2F 00 20 05 02 00 00 00", "585#80 00 20 05 30 00 09 06",
                            "605#40 00 20 05 00 00 00 00", "585#4F 00 20 05 01 00 00 00")

    @shows("SDO server", "limits of a value, from both sides")
    def test_the_set_point_at_both_ends_of_its_limits(self):
        self.assert_answers(
            "605#2B 00 20 02 B0 04 00 00", "585#60 00 20 02 00 00 00 00",
            "605#2B 00 20 02 B1 04 00 00", "585#80 00 20 02 30 00 09 06",
            "605#40 00 20 02 00 00 00 00", "585#4B 00 20 02 B0 04 00 00",
            "605#2B 00 20 02 00 00 00 00", "585#60 00 20 02 00 00 00 00",
            "605#2B 00 20 02 FF FF 00 00", "585#80 00 20 02 30 00 09 06",
            "605#40 00 20 02 00 00 00 00", "585#4B 00 20 02 00 00 00 00")

    @shows("SDO server", "access rights")
    def test_a_measured_value_may_not_be_written(self):
        self.assert_answers("605#2B 00 20 01 01 00 00 00", "585#80 00 20 01 02 00 01 06")


class DeviceText(PanelTest):
    @shows("SDO server", "upload in segments")
    def test_upload_in_segments(self):
        self.assert_answers(
            "605#40 01 20 00 00 00 00 00", "585#41 01 20 00 11 00 00 00",
            "605#60 00 00 00 00 00 00 00", "585#00 54 41 56 4F 20 64 65",
            "605#70 00 00 00 00 00 00 00", "585#10 6D 6F 20 6D 61 63 68",
            "605#60 00 00 00 00 00 00 00", "585#09 69 6E 65 00 00 00 00")

    @shows("SDO server", "download in segments")
    def test_download_in_segments_and_upload_again(self):
        self.assert_answers(
            "605#21 01 20 00 08 00 00 00", "585#60 01 20 00 00 00 00 00",
            "605#00 41 42 43 44 45 46 47", "585#20 00 00 00 00 00 00 00",
            "605#1D 48 00 00 00 00 00 00", "585#30 00 00 00 00 00 00 00",
            "605#40 01 20 00 00 00 00 00", "585#41 01 20 00 08 00 00 00",
            "605#60 00 00 00 00 00 00 00", "585#00 41 42 43 44 45 46 47",
            "605#70 00 00 00 00 00 00 00", "585#1D 48 00 00 00 00 00 00")

    @shows("SDO server", "download, expedited of 1 to 4 bytes")
    def test_a_text_of_four_characters_is_expedited(self):
        self.assert_answers("605#23 01 20 00 57 58 59 5A", "585#60 01 20 00 00 00 00 00",
                            "605#40 01 20 00 00 00 00 00", "585#43 01 20 00 57 58 59 5A")

    @shows("SDO server", "download, expedited of 1 to 4 bytes")
    def test_the_indicated_size_shortens_a_text(self):
        self.assert_answers("605#2B 01 20 00 57 58 59 5A", "585#60 01 20 00 00 00 00 00",
                            "605#40 01 20 00 00 00 00 00", "585#4B 01 20 00 57 58 00 00")


EDS = """\
[FileInfo]
FileName=machine.eds
[ManufacturerObjects]
SupportedObjects=3
1=0x2100
2=0x2101
3=0x2102
[2100]
ParameterName=Everything
ObjectType=0x9
SubNumber=7
[2100sub0]
ParameterName=Number of Entries
DataType=0x0005
AccessType=ro
DefaultValue=6
[2100sub1]
ParameterName=Small
DataType=0x0002
AccessType=rw
LowLimit=-5
HighLimit=5
DefaultValue=0xFF
[2100sub2]
ParameterName=Three Bytes
DataType=0x0016
AccessType=rw
DefaultValue=0x123456
[2100sub3]
ParameterName=Four Bytes
DataType=0x0007
AccessType=rw
DefaultValue=$NODEID+0x12345600
[2100sub4]
ParameterName=Write Only
DataType=0x0006
AccessType=wo
[2100sub5]
ParameterName=Read Only
DataType=0x0006
AccessType=ro
DefaultValue=0x0102
[2100sub6]
ParameterName=Constant
DataType=0x0001
AccessType=const
DefaultValue=1
[2101]
ParameterName=Text
ObjectType=0x7
DataType=0x0009
AccessType=rw
DefaultValue=EDS
[2102]
ParameterName=Signed
ObjectType=0x7
DataType=0x0004
AccessType=rw
DefaultValue=-2
"""


class ObjectsOfAnEds(PanelTest):
    def setUp(self):
        with tempfile.TemporaryDirectory(prefix="tavo-") as directory:
            file = pathlib.Path(directory, "machine.eds")
            file.write_text(EDS)
            self.panel = self.start("--app", str(file))
        self.client = self.attach()

    @shows("dictionary", "objects of an EDS, each type of a variable")
    def test_defaults(self):
        self.assert_answers(
            "605#40 00 21 00 00 00 00 00", "585#4F 00 21 00 06 00 00 00",
            "605#40 00 21 01 00 00 00 00", "585#4F 00 21 01 FF 00 00 00",
            "605#40 00 21 02 00 00 00 00", "585#47 00 21 02 56 34 12 00",
            "605#40 00 21 03 00 00 00 00", "585#43 00 21 03 05 56 34 12",
            "605#40 00 21 05 00 00 00 00", "585#4B 00 21 05 02 01 00 00",
            "605#40 00 21 06 00 00 00 00", "585#4F 00 21 06 01 00 00 00",
            "605#40 01 21 00 00 00 00 00", "585#47 01 21 00 45 44 53 00",
            "605#40 02 21 00 00 00 00 00", "585#43 02 21 00 FE FF FF FF")

    @shows("SDO server", "access rights")
    def test_access(self):
        self.assert_answers(
            "605#40 00 21 04 00 00 00 00", "585#80 00 21 04 01 00 01 06",
            "605#2B 00 21 04 01 00 00 00", "585#60 00 21 04 00 00 00 00",
            "605#2B 00 21 05 01 00 00 00", "585#80 00 21 05 02 00 01 06",
            "605#2F 00 21 06 00 00 00 00", "585#80 00 21 06 02 00 01 06")

    @shows("SDO server", "limits of a value, from both sides")
    def test_signed_limits_from_both_sides(self):
        self.assert_answers(
            "605#2F 00 21 01 05 00 00 00", "585#60 00 21 01 00 00 00 00",
            "605#2F 00 21 01 06 00 00 00", "585#80 00 21 01 30 00 09 06",
            "605#2F 00 21 01 FB 00 00 00", "585#60 00 21 01 00 00 00 00",
            "605#2F 00 21 01 FA 00 00 00", "585#80 00 21 01 30 00 09 06",
            "605#40 00 21 01 00 00 00 00", "585#4F 00 21 01 FB 00 00 00")

    @shows("SDO server", "limits of a value, from both sides")
    def test_the_whole_range_of_unsigned32(self):
        self.assert_answers(
            "605#23 00 21 03 FF FF FF FF", "585#60 00 21 03 00 00 00 00",
            "605#40 00 21 03 00 00 00 00", "585#43 00 21 03 FF FF FF FF",
            "605#23 00 21 03 00 00 00 80", "585#60 00 21 03 00 00 00 00",
            "605#40 00 21 03 00 00 00 00", "585#43 00 21 03 00 00 00 80")

    def test_the_demo_machine_is_not_there(self):
        self.assert_answers("605#40 00 20 00 00 00 00 00", "585#80 00 20 00 00 00 02 06")


if __name__ == "__main__":
    unittest.main()


DCF = """\
[DeviceInfo]
[DeviceComissioning]
NodeID=0x09
[OptionalObjects]
SupportedObjects=1
1=0x1017
[ManufacturerObjects]
SupportedObjects=2
1=0x2000
2=0x2001
[1017]
ParameterName=Producer heartbeat time
DataType=0x0006
AccessType=rw
DefaultValue=0
ParameterValue=200
[2000]
ParameterName=Value
DataType=0x0007
AccessType=rw
DefaultValue=1
ParameterValue=$NODEID+0x100
[2001]
ParameterName=Ratio
DataType=0x0008
AccessType=rw
"""


class DeviceOfADcf(PanelTest):
    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="tavo-")
        self.addCleanup(directory.cleanup)
        self.file = pathlib.Path(directory.name, "machine.dcf")
        self.file.write_text(DCF)

    def run_with(self, *options):
        self.panel = self.start("--app", str(self.file), *options)
        self.client = self.attach()

    def test_the_node_is_the_one_of_the_file(self):
        self.run_with()
        self.client.wait_for("709#7F")
        self.assert_answers("609#40 00 20 00 00 00 00 00", "589#43 00 20 00 09 01 00 00",
                            "609#40 17 10 00 00 00 00 00", "589#4B 17 10 00 C8 00 00 00")

    def test_the_command_line_goes_before_the_file(self):
        self.run_with("--node-id", "6", "--heartbeat", "300")
        self.client.wait_for("706#7F")
        self.assert_answers("606#40 00 20 00 00 00 00 00", "586#43 00 20 00 06 01 00 00",
                            "606#40 17 10 00 00 00 00 00", "586#4B 17 10 00 2C 01 00 00")

    def test_what_is_left_out_is_told(self):
        self.run_with()
        self.assertTrue(self.panel.output().count("machine.dcf: [2001] DataType: REAL32 is not a type"))
