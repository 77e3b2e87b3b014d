"""Starts the program tavo-panel for one test and stops it again.

The program under test is named by the environment variable TAVO_PANEL. Each one runs in a working
directory of its own and listens on a port that the kernel picked, so that tests can run side by side.
"""

import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile
import time

# How long a condition may take before a test gives up. Nothing waits this long when it works: it only
# has to be longer than the worst pause of a loaded machine running an instrumented build.
PATIENCE_S = 20.0

LISTENING = re.compile(r"^serving \S+ on port (\d+)$", re.MULTILINE)


def program():
    return os.environ["TAVO_PANEL"]


def environment():
    """Freed blocks that an address sanitizer keeps back would pass for a growing program."""
    variables = dict(os.environ)
    options = variables.get("ASAN_OPTIONS", "")
    variables["ASAN_OPTIONS"] = ":".join(filter(None, [options, "quarantine_size_mb=4"]))
    return variables


def wait_until(condition, what, patience=PATIENCE_S):
    """The first true result of the condition; fails when it never comes."""
    deadline = time.monotonic() + patience
    while time.monotonic() < deadline:
        result = condition()
        if result:
            return result
        time.sleep(0.005)
    raise AssertionError(f"{what}: not within {patience} s")


def run_to_the_end(*arguments, directory=None):
    """Runs a program that is expected to end by itself."""
    owned = tempfile.mkdtemp(prefix="tavo-") if directory is None else None
    try:
        return subprocess.run([program(), *arguments], cwd=directory or owned, env=environment(),
                              stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              timeout=PATIENCE_S)
    finally:
        if owned:
            shutil.rmtree(owned)


class Panel:
    """One running program."""

    def __init__(self, *arguments, listen="127.0.0.1:0", bus=None):
        """bus: the URI of a bus that another program serves; without it this one serves its own."""
        where = ["--can", bus] if bus else ["--listen", listen]
        command = [program(), *where, *arguments]
        self.directory = pathlib.Path(tempfile.mkdtemp(prefix="tavo-"))
        self._output = self.directory / "stdout"
        with open(self._output, "wb") as output, open(self.directory / "stderr", "wb") as errors:
            self._process = subprocess.Popen(command, cwd=self.directory, env=environment(),
                                             stdin=subprocess.DEVNULL, stdout=output, stderr=errors)
        try:
            self.port = None if bus else int(wait_until(self._listening, "the port of the bus")[1])
        except BaseException:
            self.stop()
            raise

    def _listening(self):
        if self._process.poll() is not None:
            raise AssertionError(f"ended with {self._process.returncode}: {self.errors()}")
        return LISTENING.search(self.output())

    def output(self):
        return self._output.read_text()

    def errors(self):
        return (self.directory / "stderr").read_text()

    def is_running(self):
        return self._process.poll() is None

    def resident_kib(self):
        status = pathlib.Path(f"/proc/{self._process.pid}/status").read_text()
        return int(re.search(r"^VmRSS:\s+(\d+) kB", status, re.MULTILINE)[1])

    def wakes(self):
        """How often it has gone to sleep so far, and so come back."""
        status = pathlib.Path(f"/proc/{self._process.pid}/status").read_text()
        return int(re.search(r"^voluntary_ctxt_switches:\s+(\d+)", status, re.MULTILINE)[1])

    def descriptors(self):
        return len(os.listdir(f"/proc/{self._process.pid}/fd"))

    def pause(self):
        """Keeps the program from running, its connections open."""
        self._process.send_signal(signal.SIGSTOP)

    def wait_until_paused(self):
        stat = pathlib.Path(f"/proc/{self._process.pid}/stat")
        wait_until(lambda: stat.read_text().rsplit(")", 1)[1].split()[0] == "T", "the program stopped")

    def resume(self):
        self._process.send_signal(signal.SIGCONT)

    def wait_for_line(self, line, times=1):
        """Waits until the program has printed the line so often."""
        wait_until(lambda: self.count_lines(line) >= times, f"'{line}' in the output")

    def count_lines(self, line):
        return self.output().splitlines().count(line)

    def stop(self, number=signal.SIGTERM):
        """Asks the program to end. Returns its exit status; afterwards nothing of it is left."""
        if self._process.poll() is None:
            self.resume()
            self._process.send_signal(number)
        try:
            return self._process.wait(PATIENCE_S)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
            raise AssertionError("the program did not end when asked to") from None
        finally:
            shutil.rmtree(self.directory, ignore_errors=True)
