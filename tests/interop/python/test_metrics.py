"""GET /metrics: what a panel tells of itself and of its bus, and what the documents and examples say of it."""

import json
import pathlib
import re

from case import PanelTest
from metrics import CONTENT_TYPE, Scrape, fetch
from panel import wait_until

ROOT = pathlib.Path(__file__).parents[3]
METRIC = re.compile(r"\b(?:tavo|process)_[a-z_]+")
HISTOGRAM = re.compile("_(bucket|count|sum)$")


class Metrics(PanelTest):
    ARGUMENTS = ("--http", "127.0.0.1:0", "--heartbeat", "50", "--autostart", "--bit-rate", "125000", "--peer", "6")

    def setUp(self):
        super().setUp()
        Scrape(self.panel)
        self.wait_for("tavo_observation_active", 1)

    def wait_for(self, name, value, /, **labels):
        """Waits until a metric has reached a value."""
        wait_until(lambda: (Scrape(self.panel).get(name, **labels) or 0) >= value, f"{name} {labels}")

    def test_content_type_is_that_of_openmetrics(self):
        self.assertEqual(fetch(self.panel)[0], CONTENT_TYPE)

    def test_the_node_tells_its_state(self):
        self.wait_for("tavo_panel_state", 1, tavo_panel_state="operational")
        self.client.send("000#02 05")
        self.wait_for("tavo_panel_state", 1, tavo_panel_state="stopped")
        self.wait_for("tavo_node_state", 1, node="5", tavo_node_state="stopped")

    def test_a_value_that_a_master_wrote_is_there(self):
        self.assert_answers("605#2B 00 20 02 20 03 00 00", "585#60 00 20 02 00 00 00 00")
        self.assertEqual(Scrape(self.panel).get("tavo_variable", object="0x2000", subindex="2", name="Set Point"), 800)

    def test_what_a_client_did_is_counted(self):
        for _ in range(3):
            self.assert_answers("605#40 00 10 00 00 00 00 00", "585#43 00 10 00 00 00 00 00")
        self.assert_answers("605#40 00 50 00 00 00 00 00", "585#80 00 50 00 00 00 02 06")
        self.client.send("67E#40 00 10 00 00 00 00 00")
        channel = {"node": "5", "channel": "1"}
        self.wait_for("tavo_sdo_timeouts_total", 1, node="126", channel="1")
        scrape = Scrape(self.panel)
        self.assertEqual(scrape.get("tavo_sdo_transfers_total", **channel, direction="upload", kind="expedited"), 3)
        self.assertEqual(scrape.get("tavo_sdo_bytes_total", **channel, direction="upload"), 12)
        self.assertEqual(scrape.get("tavo_sdo_aborts_total", node="5", code="0x06020000"), 1)
        self.assertEqual(scrape.get("tavo_sdo_timeouts_total", **channel), 0)

    def test_a_peer_that_goes_is_missed(self):
        peer = self.start("--node-id", "6", "--heartbeat", "50", bus=f"socketcand:127.0.0.1:{self.panel.port}/bus0")
        self.wait_for("tavo_node_heartbeats_total", 5, node="6")
        self.assertEqual(Scrape(self.panel).get("tavo_panel_heartbeat_missing", node="6"), 0)
        self.stop_early(peer)
        self.wait_for("tavo_panel_heartbeat_missing", 1, node="6")
        self.wait_for("tavo_node_heartbeats_missed_total", 10, node="6")
        self.assertEqual(Scrape(self.panel).get("tavo_panel_heartbeat_timeouts_total", node="6"), 1)

    def make_everything_happen(self):
        """So that every family has a value."""
        self.start("--node-id", "6", "--heartbeat", "50", bus=f"socketcand:127.0.0.1:{self.panel.port}/bus0")
        self.assert_answers("605#40 00 50 00 00 00 00 00", "585#80 00 50 00 00 00 02 06")
        self.client.send("605#E0 00 20 00 00 00 00 00", "080#", "080#", "080#")
        self.wait_for("tavo_sync_jitter_seconds_count", 1)
        self.wait_for("tavo_protocol_violations_total", 1, node="5", violation=self.violation())
        wait_until(lambda: "tavo_pdo_jitter_seconds_count" in {name for name, _ in Scrape(self.panel).values}, "a PDO")
        wait_until(lambda: Scrape(self.panel).get("tavo_panel_heartbeat_missing", node="6") == 0, "the peer")

    def violation(self):
        def find():
            for name, labels in Scrape(self.panel).values:
                if name == "tavo_protocol_violations_total":
                    return dict(labels)["violation"]
            return None
        return wait_until(find, "a violation")

    def test_the_document_has_every_metric(self):
        self.make_everything_happen()
        scrape = Scrape(self.panel)
        answered = {f"| `{name}` | {kind} | {', '.join(f'`{label}`' for label in sorted(scrape.labels(family)))} |"
                    for name, (family, kind) in scrape.names().items()}
        text = (ROOT / "docs/monitoring.md").read_text()
        documented = set(re.findall(r"^(\| `(?:tavo|process)_[a-z_]+` \| [a-z]+ \|[^|]*\|)", text, re.MULTILINE))
        self.assertEqual({re.sub(r"\| +\|", "|  |", row) for row in documented}, answered)

    def test_examples_name_only_metrics_that_there_are(self):
        known = set(Scrape(self.panel).names())
        dashboard = json.loads((ROOT / "examples/monitoring/dashboard.json").read_text())
        expressions = [target["expr"] for panel in dashboard["panels"] for target in panel["targets"]]
        expressions += [variable["query"]["query"] for variable in dashboard["templating"]["list"][1:]]
        expressions += [annotation["expr"] for annotation in dashboard["annotations"]["list"]]
        expressions.append((ROOT / "examples/monitoring/alerts.yml").read_text())
        named = {metric for expression in expressions for metric in METRIC.findall(expression)}
        self.assertTrue(named)
        self.assertEqual({name for name in named if HISTOGRAM.sub("", name) not in known}, set())

    def test_pictures_of_the_dashboard_have_places_of_their_own(self):
        dashboard = json.loads((ROOT / "examples/monitoring/dashboard.json").read_text())
        taken = set()
        for place in (panel["gridPos"] for panel in dashboard["panels"]):
            cells = {(place["x"] + x, place["y"] + y) for x in range(place["w"]) for y in range(place["h"])}
            self.assertLessEqual(place["x"] + place["w"], 24)
            self.assertFalse(cells & taken)
            taken |= cells
