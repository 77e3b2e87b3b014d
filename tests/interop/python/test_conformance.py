"""What the table of docs/conformance.md stands on: rows that tests announce, cases that are counted, failures that show.

| covered                                                                    | kind       |
|----------------------------------------------------------------------------|------------|
| every service has rows, every departure a test                             | functional |
| the document has the rows that there are, and no other, none of them failed | functional |
| counting: tests, subtests, walks over tables; failed and skipped ones      | functional |
| a unit that says nothing, or ends badly                                    | robustness |
"""

import io
import pathlib
import re
import tempfile
import unittest

import conformance
import features
from conformance import DOCUMENT, FAILED, PASSED, SKIPPED, CountingResult, Record
from features import DEPARTURE, Feature, Unit, departs, shows

ROW = re.compile(r"^\| (.+) \|$", re.MULTILINE)


class Announced(unittest.TestCase):
    def setUp(self):
        self.rows = {feature for unit in (*features.files(), *features.classes()) for feature, _ in unit.rows}

    def cells_below(self, heading):
        """The rows of a table of the document, as lists of cells."""
        part = DOCUMENT.read_text(encoding="utf-8").split(f"\n## {heading}\n")[1].split("\n## ")[0]
        return [row.split(" | ") for row in ROW.findall(part)][2:]

    def test_every_service_has_rows(self):
        self.assertEqual({feature.service for feature in self.rows}, {*features.SERVICES, DEPARTURE})

    def test_every_departure_has_a_test(self):
        self.assertEqual({feature.name for feature in self.rows if feature.service == DEPARTURE}, set(features.departures()))

    def test_every_departure_is_one_of_a_service(self):
        for name, departure in features.departures().items():
            with self.subTest(name=name):
                self.assertEqual(set(departure), {"service", "standard", "here", "master"})
                self.assertIn(departure["service"], features.SERVICES)

    def test_the_document_has_the_rows_of_each_service(self):
        for service in features.SERVICES:
            with self.subTest(service=service):
                expected = sorted(feature.name for feature in self.rows if feature.service == service)
                self.assertEqual([cells[0] for cells in self.cells_below(service)], expected)

    def test_the_document_has_every_departure(self):
        expected = [list(departure.values()) for departure in features.departures().values()]
        self.assertEqual([cells[:4] for cells in self.cells_below("Departures from the standard")], expected)

    def test_no_row_of_the_document_failed(self):
        for heading in (*features.SERVICES, "Departures from the standard"):
            with self.subTest(heading=heading):
                self.assertLessEqual({cells[-1] for cells in self.cells_below(heading)}, {PASSED})


class ToyTest(unittest.TestCase):
    """Not run by itself."""

    WITNESS = "python-can"


class Counting(unittest.TestCase):
    @staticmethod
    def record_of(body, mark=shows("SYNC", "of the class")):
        """The records of one test with this body."""
        toy = type("Toy", (ToyTest,), {"test": mark(body)})
        result = unittest.TextTestRunner(io.StringIO(), resultclass=CountingResult).run(toy("test"))
        return result.records

    def test_a_test_is_one_case(self):
        self.assertEqual(self.record_of(lambda test: None), [Record("SYNC", "of the class", "python-can", 1, PASSED)])

    def test_subtests_are_cases(self):
        def body(test):
            for number in range(3):
                with test.subTest(number=number):
                    pass
        self.assertEqual(self.record_of(body)[0].cases, 3)

    def test_a_walk_says_how_many(self):
        def body(test):
            test.cases = 70
        self.assertEqual(self.record_of(body)[0].cases, 70)

    def test_a_failure_shows(self):
        self.assertEqual(self.record_of(lambda test: test.fail())[0].result, FAILED)

    def test_an_error_shows(self):
        self.assertEqual(self.record_of(lambda test: {}["missing"])[0].result, FAILED)

    def test_a_failed_subtest_shows(self):
        def body(test):
            for number in range(3):
                with test.subTest(number=number):
                    test.assertNotEqual(number, 1)
        self.assertEqual(self.record_of(body)[0], Record("SYNC", "of the class", "python-can", 3, FAILED))

    def test_a_skipped_test_shows(self):
        self.assertEqual(self.record_of(lambda test: test.skipTest("why"))[0].result, SKIPPED)

    def test_a_departure(self):
        self.assertEqual(self.record_of(lambda test: None, departs("limits"))[0][:2], (DEPARTURE, "limits"))

    def test_what_is_said_of_a_test_takes_the_place_of_what_is_said_of_its_class(self):
        toy = shows("SYNC", "of the class")(type("Toy", (ToyTest,), {
            "test_own": shows("PDO", "of the test")(lambda test: None), "test_other": lambda test: None}))
        self.assertEqual((features.features_of(toy("test_own")), features.features_of(toy("test_other"))),
                         ((Feature("PDO", "of the test"),), (Feature("SYNC", "of the class"),)))

    def test_a_service_that_there_is_not(self):
        with self.assertRaises(ValueError):
            shows("LSS", "anything")

    def test_one_failure_fails_the_row(self):
        row = [Record("SYNC", "x", client, 2, result) for client, result in
               (("python-can", PASSED), ("canopen", FAILED), ("python-can", PASSED))]
        self.assertEqual(conformance.summary_of(row), ("python-can 4, canopen 2", 6, FAILED))


class Units(unittest.TestCase):
    """Files of node's runner that are written here."""

    ROW = (Feature("SYNC", "a row"), "canopen")

    def run_file(self, text):
        with tempfile.TemporaryDirectory(prefix="tavo-") as folder:
            path = pathlib.Path(folder) / "toy.test.js"
            path.write_text(f"const {{ test }} = require('node:test');\n{text}\n")
            return conformance.run_unit(Unit(path.name, path, frozenset([self.ROW])))

    def test_cases_are_the_tests_without_any_below(self):
        records, output = self.run_file("""
            test('outer [SYNC: a row]', async (t) => {
                for (const name of ['a', 'b', 'c'])
                    await t.test(name, () => {});
            });""")
        self.assertEqual((records, output), ([Record("SYNC", "a row", "canopen", 3, PASSED)], None))

    def test_a_walk_says_how_many(self):
        counter = features.FOLDER / "js" / "features.js"
        records, _ = self.run_file(f"test('walk [SYNC: a row]', (t) => require('{counter}').countCases(t, 70));")
        self.assertEqual(records[0].cases, 70)

    def test_a_failure_below_shows(self):
        records, output = self.run_file("""
            test('outer [SYNC: a row]', async (t) => {
                await t.test('inner', () => { throw new Error('on purpose'); });
            });""")
        self.assertEqual(records[0].result, FAILED)
        self.assertIn("on purpose", output)

    def test_a_failure_elsewhere_in_the_file_is_told(self):
        records, output = self.run_file("""
            test('good [SYNC: a row]', () => {});
            test('bad', () => { throw new Error('on purpose'); });""")
        self.assertEqual(records[0].result, PASSED)
        self.assertIn("on purpose", output)

    def test_a_row_of_which_nothing_is_said_failed(self):
        records, output = self.run_file("test('another', () => {});")
        self.assertEqual(records, [Record("SYNC", "a row", "canopen", 0, FAILED)])
        self.assertIsNotNone(output)

    def test_a_file_that_ends_at_once_failed(self):
        records, output = self.run_file("process.exit(0); test('good [SYNC: a row]', () => {});")
        self.assertEqual(records, [Record("SYNC", "a row", "canopen", 0, FAILED)])
        self.assertIsNotNone(output)


if __name__ == "__main__":
    unittest.main()
