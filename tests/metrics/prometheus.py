"""Starts Debian's prometheus for one test, on the loopback address, and asks it by its HTTP API."""

import json
import pathlib
import shutil
import socket
import subprocess
import tempfile
import urllib.parse
import urllib.request

from panel import PATIENCE_S, wait_until

ROOT = pathlib.Path(__file__).parents[2]
UNPACKED = ROOT / "build/target/prometheus/usr/bin"

CONFIGURATION = """
global:
  scrape_interval: {interval}
  evaluation_interval: {interval}
rule_files:
  - {rules}
scrape_configs:
  - job_name: tavo-panel
    static_configs:
      - targets: {targets}
"""


def program(name):
    """The installed one, else that of the unpacked package."""
    return shutil.which(name) or str(UNPACKED / name)


def free_port():
    with socket.socket() as taken:
        taken.bind(("127.0.0.1", 0))
        return taken.getsockname()[1]


class Prometheus:
    """Collects from targets, HOST:PORT each, and evaluates the rules of a file."""

    def __init__(self, targets, rules, interval):
        self._directory = pathlib.Path(tempfile.mkdtemp(prefix="tavo-prometheus-"))
        self._url = f"http://127.0.0.1:{free_port()}"
        configuration = self._directory / "prometheus.yml"
        configuration.write_text(CONFIGURATION.format(interval=interval, rules=rules, targets=json.dumps(targets)))
        with open(self._directory / "log", "wb") as log:
            self._process = subprocess.Popen(
                [program("prometheus"), f"--config.file={configuration}", f"--storage.tsdb.path={self._directory}/data",
                 f"--web.listen-address={self._url.removeprefix('http://')}"],
                cwd=self._directory, stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        try:
            wait_until(self._is_ready, "Prometheus")
        except BaseException:
            self.stop()
            raise

    def _is_ready(self):
        if self._process.poll() is not None:
            raise AssertionError((self._directory / "log").read_text())
        try:
            with urllib.request.urlopen(self._url + "/-/ready", timeout=PATIENCE_S) as answer:
                return answer.status == 200
        except OSError:
            return False

    def stop(self):
        self._process.terminate()
        try:
            self._process.wait(PATIENCE_S)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
        finally:
            shutil.rmtree(self._directory, ignore_errors=True)

    def ask(self, path, **parameters):
        query = urllib.parse.urlencode(parameters)
        with urllib.request.urlopen(f"{self._url}/api/v1/{path}?{query}", timeout=PATIENCE_S) as answer:
            return json.load(answer)["data"]

    def query(self, expression):
        """The present values: labels and number of each series."""
        return [(series["metric"], float(series["value"][1]))
                for series in self.ask("query", query=expression)["result"]]

    def value(self, expression):
        """That of the one series, or None."""
        found = self.query(expression)
        return found[0][1] if len(found) == 1 else None

    def wait_for(self, expression, value, what):
        wait_until(lambda: self.value(expression) == value, f"{what}: {expression} == {value}")
