#!/usr/bin/python3
"""What clients that flood the served bus do to the others: prints a table.

    TAVO_PANEL=.../bin/tavo-panel overload.py [--seconds S] [--rounds N] [--check]

A master asks the node for an object again and again, at times of no pattern, and reads all that it is sent. The flooding
clients, in a process of their own, keep their sockets full of frames; the deaf ones never read. Times are the master's.
Each row is measured once a round, and the best of all rounds stands for it: the machine has other things to do, too.

--check  fails when the master was dropped, when a flooding client had less than half of its share, or when a median, a
         slow answer (one in ten) or the longest time between two heartbeats is more than twice what it is on a quiet bus
"""

import argparse
import collections
import multiprocessing
import random
import re
import selectors
import statistics
import sys
import time

from clients import LineClient, send_line
from panel import Panel

HEARTBEAT_MS = 100
REQUEST = send_line("605#40 08 10 00 00 00 00 00").encode()
FRAME = re.compile(rb"< frame ([0-9A-F]+) ")
FLOOD_IDENTIFIER = 0x100
# Many frames, so that a full socket is filled up again with few calls.
FRAMES_A_CALL = 500
LONGEST_PAUSE_S = 0.01
SETTLING_S = 1
PATIENCE_S = 10
# What a time under a flood may be, in quiet times.
LIMIT = 2.0
LEAST_SHARE = 0.5

Load = collections.namedtuple("Load", "count deaf")
# Times in milliseconds; the share is the least that one of the flooding clients had, of what each should have.
Result = collections.namedtuple("Result", "median slow slowest heartbeat rate share")

LOADS = [Load(0, False), *(Load(count, deaf) for deaf in (False, True) for count in (1, 3, 50))]


def flood(port, load, ready, stop):
    """Keeps the sockets of many clients full, and reads what they are sent unless they are deaf."""
    selector = selectors.DefaultSelector()
    for number in range(load.count):
        line = send_line(f"{FLOOD_IDENTIFIER + number:X}#01 02 03 04 05 06 07 08").encode()
        client = LineClient(port).attach().detach()
        client.setblocking(False)
        # The rest of a line that was sent in part comes first in what is sent next.
        interest = selectors.EVENT_WRITE if load.deaf else selectors.EVENT_READ | selectors.EVENT_WRITE
        selector.register(client, interest, [line * FRAMES_A_CALL, 0])
    ready.set()
    while not stop.is_set():
        for key, events in selector.select(0.1):
            if not serve_flooder(key.fileobj, key.data, events):
                selector.unregister(key.fileobj)


def serve_flooder(client, progress, events):
    """Returns False when the server has closed the connection."""
    text, sent = progress
    try:
        if events & selectors.EVENT_READ and not client.recv(1 << 20):
            return False
        if events & selectors.EVENT_WRITE:
            progress[1] = (sent + client.send(memoryview(text)[sent:])) % len(text)
    except BlockingIOError:
        pass
    except OSError:
        return False
    return True


class Master:
    """Reads all the time and asks now and then."""

    def __init__(self, port):
        self._socket = LineClient(port).attach().detach()
        self._rest = b""
        self.answers, self.heartbeats = [], []
        self.frames = collections.Counter()

    def read(self, patience):
        """Takes in what comes within the patience. Returns whether the answer was among it."""
        self._socket.settimeout(max(patience, 1e-6))
        try:
            more = self._socket.recv(1 << 16)
        except TimeoutError:
            return False
        if not more:
            raise ConnectionError("the master was dropped")
        now = time.perf_counter()
        *lines, self._rest = (self._rest + more).split(b">")
        identifiers = collections.Counter(FRAME.match(line)[1] for line in lines)
        self.frames.update(identifiers)
        self.heartbeats += [now] * identifiers[b"705"]
        return identifiers[b"585"] > 0

    def read_until(self, end):
        while (left := end - time.perf_counter()) > 0:
            self.read(left)

    def ask(self):
        begin = time.perf_counter()
        self._socket.sendall(REQUEST)
        while not self.read(PATIENCE_S):
            if time.perf_counter() - begin > PATIENCE_S:
                raise ConnectionError("no answer")
        self.answers.append(time.perf_counter() - begin)

    def run(self, seconds):
        end = time.perf_counter() + seconds
        while time.perf_counter() < end:
            self.ask()
            self.read_until(time.perf_counter() + random.uniform(0, LONGEST_PAUSE_S))

    def close(self):
        self._socket.close()

    def forget(self):
        self.answers, self.heartbeats = [], []
        self.frames.clear()


def measure(load, seconds):
    panel = Panel("--heartbeat", str(HEARTBEAT_MS))
    ready, stop = multiprocessing.Event(), multiprocessing.Event()
    flooding = multiprocessing.Process(target=flood, args=(panel.port, load, ready, stop))
    master = Master(panel.port)
    try:
        flooding.start()
        while not ready.is_set():
            master.read(0.01)
        master.run(SETTLING_S)
        master.forget()
        master.run(seconds)
        return evaluate(master, load, seconds)
    finally:
        stop.set()
        flooding.join()
        master.close()
        panel.stop()


def evaluate(master, load, seconds):
    answers = sorted(master.answers)
    intervals = [after - before for before, after in zip(master.heartbeats, master.heartbeats[1:])]
    shares = [master.frames[b"%X" % (FLOOD_IDENTIFIER + number)] for number in range(load.count)]
    return Result(*(1000 * answers[int(share * len(answers))] for share in (0.5, 0.9, 0.99)), 1000 * max(intervals),
                  sum(shares) / seconds, min(shares) / (sum(shares) / load.count) if load.count else 1)


def best(results):
    """The best figures of all rounds, but the worst share."""
    return Result(*map(min, zip(*(result[:4] for result in results))), statistics.median(r.rate for r in results),
                  min(result.share for result in results))


def complaints(load, result, quiet):
    """What is worse than it may be."""
    for what in ("median", "slow", "heartbeat"):
        ratio = getattr(result, what) / getattr(quiet, what)
        if ratio > LIMIT:
            yield f"{name_of(load)}: {what} is {ratio:.1f} times the quiet one"
    if result.share < LEAST_SHARE:
        yield f"{name_of(load)}: one has {result.share:.2f} of its share"


def name_of(load):
    return f"{load.count}{' deaf' if load.deaf else ''}" if load.count else "none"


def print_table(results):
    print("| flooding clients | SDO answer: median | 90 % | 99 % | longest between heartbeats | frames/s of the flood "
          "| least share of one |\n|---|---:|---:|---:|---:|---:|---:|")
    for load, result in results.items():
        flooded = f"{result.rate:.0f} | {100 * result.share:.0f} %" if load.count else "|"
        print(f"| {name_of(load)} | {result.median:.2f} ms | {result.slow:.2f} ms | {result.slowest:.2f} ms "
              f"| {result.heartbeat:.0f} ms | {flooded} |")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--seconds", type=float, default=3)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--check", action="store_true")
    wanted = parser.parse_args()
    rounds = [{load: measure(load, wanted.seconds) for load in LOADS} for _ in range(wanted.rounds)]
    results = {load: best([one[load] for one in rounds]) for load in LOADS}
    print_table(results)
    found = [text for load in LOADS for text in complaints(load, results[load], results[LOADS[0]])]
    print(*found, sep="\n", end="\n" if found else "", file=sys.stderr)
    return 1 if wanted.check and found else 0


if __name__ == "__main__":
    sys.exit(main())
