#!/usr/bin/env python3
"""Does what a document shows, in the order in which a reader would.

What becomes of a fenced block is up to its first line:

  ```sh                   a script: it has to end well, within half a minute
  ```sh in NAME           typed into a terminal of that name, where it goes on; what ran there before is ended with Ctrl-C
  ```sh no-test: WHY      not run; listed, and its syntax and the targets of its "make" are looked at all the same
  ```text                 behind a script: these lines come, in this order, perhaps with others between them
  ```text in NAME         the same in a terminal, from what was matched there before
  ```python FILE          a file that a script runs later
  ```python               a script of its own
  ```cpp FILE             an excerpt of that file of the project: its lines, one after the other

In a block of text, what stands behind two blanks is a remark, and "..." at the end of a line is whatever follows. A block of
any other kind is left alone. Everything runs in a folder that looks like a checkout, on a loopback interface of its own, so that
ports are those of the document. "make run" starts the panel of this build; of any other target it is only seen to
that there is one.
"""

import argparse
import array
import fcntl
import os
import pathlib
import re
import shlex
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time

PATIENCE_S = 30
BLOCK = re.compile(r"^```([^\n]*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
INFO = re.compile(r"^(?P<kind>\w*)(?: in (?P<terminal>\w+))?(?: (?P<file>[\w./-]+))?(?: no-test: (?P<reason>.+))?$")
# What looks like a make that knows the Makefile, and takes no minutes.
MAKE = """#!/bin/bash
target=
for word; do
  case $word in
    *=*) export "$word" ;;
    *) target=$word ;;
  esac
done
[[ $target == run ]] || exec /usr/bin/make -n -C {root} "$@" >/dev/null
eval "exec {panel} $ARGS"
"""


class Problem(Exception):
    pass


class Terminal:
    def __init__(self, folder, name):
        self._log = folder / f".{name}"
        self._process = None
        self.matched = 0

    def type(self, script, environment, folder):
        self.interrupt()
        self.matched = 0
        with open(self._log, "wb") as log:
            self._process = subprocess.Popen(["bash", "-euc", script], cwd=folder, env=environment, stdout=log, stderr=log,
                                             stdin=subprocess.DEVNULL, start_new_session=True)
        wait_until(lambda: self.text() or self._process.poll() is not None)

    def interrupt(self):
        """As Ctrl-C does. What handles it ends with 0, the rest is ended by it."""
        if self._process is None:
            return
        if self._process.poll() is None:
            os.killpg(self._process.pid, signal.SIGINT)
        status = self._process.wait(PATIENCE_S)
        self._process = None
        if status not in (0, -signal.SIGINT, 128 + signal.SIGINT):
            raise Problem(f"ended with {status}:\n{self.text()}")

    def text(self):
        return self._log.read_text(errors="replace")


def wait_until(condition):
    deadline = time.monotonic() + PATIENCE_S
    while time.monotonic() < deadline:
        if condition():
            return True
        time.sleep(0.02)
    return False


def expected_lines(block):
    lines = (re.split(r"  +", line.strip(), maxsplit=1)[0] for line in block.splitlines())
    return [line for line in lines if line]


def is_shown(wanted, line):
    return line.startswith(wanted[:-3]) if wanted.endswith("...") else line.split("  ")[0].strip() == wanted


def match(expected, lines, position=0):
    """Where the lines go on behind those that were expected, and the first one of these that is missing."""
    for wanted in expected:
        while position < len(lines) and not is_shown(wanted, lines[position]):
            position += 1
        if position == len(lines):
            return position, wanted
        position += 1
    return position, None


class Reader:
    """Somebody who goes through a document, and does what it shows."""

    def __init__(self, root, binaries, folder):
        self.root = root
        self.folder = folder / "checkout"
        self.folder.mkdir()
        for entry in root.iterdir():
            if entry.name not in ("build", ".git"):
                (self.folder / entry.name).symlink_to(entry)
        (self.folder / "build").mkdir()
        for preset in ("debug", "release"):
            (self.folder / "build" / preset).symlink_to(binaries)
        (self.folder / "build" / "examples").symlink_to(binaries / "bin")
        tools = folder / "tools"
        tools.mkdir()
        (tools / "make").write_text(MAKE.format(root=shlex.quote(str(root)), panel=binaries / "bin" / "tavo-panel"))
        (tools / "make").chmod(0o755)
        self.environment = {**os.environ, "PATH": f"{tools}:{os.environ['PATH']}", "ARGS": "", "PYTHONDONTWRITEBYTECODE": "1"}
        self.terminals = {}
        self.output = None
        self.skipped = []

    def do(self, place, info, block):
        details = INFO.match(info)
        if not details:
            raise Problem(f"what is '```{info}'?")
        action = getattr(self, f"do_{details['kind']}", None)
        if details["kind"] != "text":
            self.output = None
        if details["reason"]:
            self.skipped.append(f"{place}: {details['reason']}")
            self.look_at(block)
        elif action:
            action(block, details)

    def look_at(self, block):
        self.run(["bash", "-n", "-c", block])
        for line in block.splitlines():
            if line.startswith("make ") and not line.startswith("make run"):
                self.run(["bash", "-c", line])

    def run(self, command):
        done = subprocess.run(command, cwd=self.folder, env=self.environment, capture_output=True, text=True,
                              stdin=subprocess.DEVNULL, timeout=PATIENCE_S, check=False)
        if done.returncode != 0:
            raise Problem(f"ends with {done.returncode}:\n{done.stdout}{done.stderr}")
        return done.stdout + done.stderr

    def do_sh(self, block, details):
        if not details["terminal"]:
            self.output = self.run(["bash", "-euc", block])
            return
        name = details["terminal"]
        if name not in self.terminals:
            self.terminals[name] = Terminal(self.folder, name)
        self.terminals[name].type(block, self.environment, self.folder)

    def do_text(self, block, details):
        expected = expected_lines(block)
        if not details["terminal"]:
            if self.output is None:
                return
            _, missing = match(expected, self.output.splitlines())
            if missing:
                raise Problem(f"'{missing}' does not come, but:\n{self.output}")
            return
        terminal = self.terminals.get(details["terminal"])
        if terminal is None:
            raise Problem(f"nothing was typed into {details['terminal']}")
        if not wait_until(lambda: match(expected, terminal.text().splitlines(), terminal.matched)[1] is None):
            raise Problem(f"'{match(expected, terminal.text().splitlines(), terminal.matched)[1]}' does not come, but:\n"
                          + terminal.text())
        terminal.matched, _ = match(expected, terminal.text().splitlines(), terminal.matched)

    def do_python(self, block, details):
        if details["file"]:
            (self.folder / details["file"]).write_text(block)
            block = f"compile(open({details['file']!r}).read(), {details['file']!r}, 'exec')"
        self.output = self.run(["/usr/bin/python3", "-c", block])

    def do_cpp(self, block, details):
        if not details["file"]:
            raise Problem("which file is that from?")
        source = [line.strip() for line in (self.root / details["file"]).read_text().splitlines()]
        position = 0
        for part in re.split(r"^\s*(?://\s*)?\.\.\.\s*$", block, flags=re.MULTILINE):
            lines = [line.strip() for line in part.strip().splitlines()]
            while position <= len(source) - len(lines) and source[position:position + len(lines)] != lines:
                position += 1
            if position > len(source) - len(lines):
                raise Problem(f"{details['file']} does not have these lines:\n{part}")
            position += len(lines)


def go_where_ports_are_free():
    """On a loopback interface of its own; when this is not to be had on that of all, one document after the other."""
    if os.environ.get("TAVO_OWN_LOOPBACK") is None:
        for way in (["unshare", "--net"], ["unshare", "--net", "--map-root-user"]):
            if subprocess.run([*way, "true"], capture_output=True, check=False).returncode == 0:
                os.environ["TAVO_OWN_LOOPBACK"] = "1"
                os.execvp(way[0], [*way, sys.executable, *sys.argv])
        lock = os.open(pathlib.Path(tempfile.gettempdir(), "tavo-documents.lock"), os.O_CREAT | os.O_RDWR, 0o666)
        fcntl.flock(lock, fcntl.LOCK_EX)  # until this process ends
        return
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as any_socket:
        siocsifflags, iff_up = 0x8914, 0x1
        fcntl.ioctl(any_socket, siocsifflags, array.array("b", struct.pack("16sH14s", b"lo", iff_up, b"")))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("document", type=pathlib.Path)
    parser.add_argument("--source-root", required=True, type=pathlib.Path)
    parser.add_argument("--binaries", required=True, type=pathlib.Path, help="folder of the build")
    arguments = parser.parse_args()
    go_where_ports_are_free()
    text = arguments.document.read_text(encoding="utf-8")
    problems = []

    def attempt(place, action, *details):
        try:
            action(*details)
        except (Problem, subprocess.TimeoutExpired) as problem:
            problems.append(f"{place}: {problem}")

    with tempfile.TemporaryDirectory(prefix="tavo-documents-") as folder:
        reader = Reader(arguments.source_root, arguments.binaries, pathlib.Path(folder))
        for found in BLOCK.finditer(text):
            place = f"{arguments.document.name}:{text.count(chr(10), 0, found.start()) + 1}"
            attempt(place, reader.do, place, *found.groups())
        for name, terminal in reader.terminals.items():
            attempt(f"terminal {name}", terminal.interrupt)
    for line in [f"not run: {skipped}" for skipped in reader.skipped] + problems:
        print(line)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
