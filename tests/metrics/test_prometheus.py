"""Debian's prometheus collects from ten panels on one bus: what it has got to know of them."""

import re
import signal
import subprocess
import unittest

from prometheus_client.openmetrics.parser import text_string_to_metric_families

from clients import FrameClient
from metrics import fetch, url
from panel import Panel, wait_until
from prometheus import ROOT, Prometheus, free_port, program

PANELS = 10
FIRST_NODE = 11
VICTIM = 5                           # by its place in the list
VICTIM_NODE = FIRST_NODE + VICTIM
INTERVAL = "500ms"
EXAMPLES = ROOT / "examples/monitoring"
JOB = 'job="tavo-panel"'


def target(panel):
    return re.match("http://([^/]+)/", url(panel))[1]


class TenPanels(unittest.TestCase):
    """One network for all tests, which go over it in the order of their names: the last one kills a panel."""

    @classmethod
    def setUpClass(cls):
        cls.panels = []
        cls.addClassCleanup(lambda: [panel.stop() for panel in cls.panels])
        for place in range(PANELS):
            cls.panels.append(cls.start(place, free_port()))
        cls.client = FrameClient(cls.panels[0].port)
        cls.addClassCleanup(cls.client.close)
        cls.targets = [target(panel) for panel in cls.panels]
        cls.prometheus = Prometheus(cls.targets, EXAMPLES / "alerts.yml", INTERVAL)
        cls.addClassCleanup(cls.prometheus.stop)
        cls.prometheus.wait_for(f"sum(up{{{JOB}}})", PANELS, "all panels answer")

    @classmethod
    def start(cls, place, port):
        # The first one serves the bus, and watches the one that is going to be killed.
        bus = f"socketcand:127.0.0.1:{cls.panels[0].port}/bus0" if place > 0 else None
        peer = ["--peer", str(VICTIM_NODE)] if place == 0 else []
        return Panel("--node-id", str(FIRST_NODE + place), "--heartbeat", "100", "--autostart", *peer,
                     "--http", f"127.0.0.1:{port}", bus=bus)

    def increase(self, expression):
        """Waits until a sum of counters is higher than it was, as must happen by itself."""
        before = wait_until(lambda: self.prometheus.value(expression), expression)
        wait_until(lambda: self.prometheus.value(expression) > before, f"an increase of {expression}")

    def test_1_every_answer_was_understood(self):
        targets = self.prometheus.ask("targets")["activeTargets"]
        self.assertEqual([(one["health"], one["lastError"]) for one in targets], [("up", "")] * PANELS)

    def test_2_the_form_is_that_of_openmetrics(self):
        """No other form has units."""
        metadata = self.prometheus.ask("metadata")
        self.assertEqual({(one["type"], one["unit"]) for one in metadata["tavo_pdo_jitter_seconds"]},
                         {("histogram", "seconds")})
        self.assertEqual({one["type"] for one in metadata["tavo_node_state"]}, {"stateset"})
        self.assertTrue(all(one[0]["help"].endswith(".") for name, one in metadata.items() if name.startswith("tavo")))

    def test_2_a_strict_reader_takes_it(self):
        for panel in self.panels[:2]:
            families = list(text_string_to_metric_families(fetch(panel)[1]))
            self.assertGreater(len(families), 50)

    def test_3_every_panel_is_operational_and_says_so_of_every_other(self):
        operational = 'sum(tavo_panel_state{tavo_panel_state="operational"})'
        self.prometheus.wait_for(operational, PANELS, "states of the panels")
        seen = 'sum(tavo_node_state{tavo_node_state="operational"})'
        self.prometheus.wait_for(seen, PANELS * PANELS, "states of the nodes, as each panel sees them")

    def test_4_counters_go_up(self):
        for counter in ("tavo_port_frames_sent_total", "tavo_node_heartbeats_total", "tavo_pdo_frames_total",
                        "tavo_bus_bits_total", "tavo_pdo_jitter_seconds_count"):
            with self.subTest(counter):
                self.increase(f"sum({counter})")

    def test_5_a_transfer_is_counted_by_every_panel(self):
        self.client.send(f"{0x600 + FIRST_NODE:03X}#40 00 50 00 00 00 00 00")
        aborts = f'sum(tavo_sdo_aborts_total{{node="{FIRST_NODE}", code="0x06020000"}})'
        self.prometheus.wait_for(aborts, PANELS, "the abort, as each panel saw it")

    def test_6_rules_are_loaded_and_at_rest(self):
        groups = self.prometheus.ask("rules")["groups"]
        rules = [rule for group in groups for rule in group["rules"]]
        self.assertGreater(len(rules), 10)
        wait_until(lambda: all(rule["health"] == "ok" for group in self.prometheus.ask("rules")["groups"]
                               for rule in group["rules"]), "rules that can be evaluated")
        firing = {alert["labels"]["alertname"] for alert in self.prometheus.ask("alerts")["alerts"]
                  if alert["state"] == "firing"}
        self.assertEqual(firing - {"NodeRestarting"}, set())

    def test_7_a_panel_that_is_killed_is_missed_and_comes_back(self):
        victim = self.targets[VICTIM]
        up = f'up{{instance="{victim}"}}'
        missing = f'tavo_panel_heartbeat_missing{{node="{VICTIM_NODE}"}}'
        self.prometheus.wait_for(missing, 0, "the heartbeat of the one that is going to be killed")
        start = self.prometheus.value(f'process_start_time_seconds{{instance="{victim}"}}')
        boots = f'tavo_node_boot_ups_total{{instance="{self.targets[0]}", node="{VICTIM_NODE}"}}'
        boots_before = self.prometheus.value(boots)

        self.panels[VICTIM].stop(signal.SIGKILL)
        self.prometheus.wait_for(up, 0, "the panel is missing")
        self.prometheus.wait_for(f"sum(up{{{JOB}}})", PANELS - 1, "the others are there")
        self.prometheus.wait_for(missing, 1, "its node is missing")
        lacking = f'min(tavo_node_heartbeats_missed_total{{node="{VICTIM_NODE}", instance!="{victim}"}}) >= bool 5'
        self.prometheus.wait_for(lacking, 1, "every other panel lacks its heartbeats")

        self.panels[VICTIM] = self.start(VICTIM, int(victim.split(":")[1]))
        self.prometheus.wait_for(up, 1, "the panel is back")
        self.prometheus.wait_for(missing, 0, "its node is back")
        self.prometheus.wait_for(boots, boots_before + 1, "one boot-up")
        started = wait_until(lambda: self.prometheus.value(f'process_start_time_seconds{{instance="{victim}"}}'), "start")
        self.assertGreater(started, start)
        self.prometheus.wait_for(f'changes(process_start_time_seconds{{instance="{victim}"}}[1m])', 1, "one restart")
        self.prometheus.wait_for(f'resets(tavo_port_frames_sent_total{{instance="{victim}"}}[1m])', 1, "counters anew")
        self.prometheus.wait_for("count(ALERTS{alertname='PanelRestarted', alertstate='firing'})", 1, "the alert")


class Examples(unittest.TestCase):
    def promtool(self, *arguments):
        done = subprocess.run([program("promtool"), *arguments], cwd=EXAMPLES, capture_output=True, text=True)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)

    def test_configuration_and_rules_are_well_formed(self):
        self.promtool("check", "config", "prometheus.yml")
        self.promtool("check", "rules", "alerts.yml")

    def test_rules_do_what_they_are_to(self):
        self.promtool("test", "rules", "alerts.test.yml")

    def test_every_rule_has_a_test(self):
        rules = re.findall(r"^ +- alert: (\w+)", (EXAMPLES / "alerts.yml").read_text(), re.MULTILINE)
        tested = re.findall(r"^ +alertname: (\w+)", (EXAMPLES / "alerts.test.yml").read_text(), re.MULTILINE)
        self.assertEqual(set(rules), set(tested))


if __name__ == "__main__":
    unittest.main()
