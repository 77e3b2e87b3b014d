#!/usr/bin/env python3
"""Sends frames on the bus that a tavo-panel serves, and prints what passes on it. Needs nothing but Python.

    frames.py [--port PORT] [--until FRAME] [--for SECONDS] [FRAME ...]

A FRAME is an identifier and its data, hexadecimal, with blanks as you like: '605#40 18 10 01 00 00 00 00'. After an SDO
request it waits for the answer. --until waits for a frame that begins so, --for for a while; with neither it has said
what it had to say when the last frame is sent.
"""

import argparse
import socket
import sys
import time

PATIENCE_S = 20  # for --until; an SDO answer has a twentieth of it


class Bus:
    def __init__(self, port):
        self.connection = socket.create_connection(("127.0.0.1", port), PATIENCE_S)
        self.pending = ""
        for say, answer in (("", "hi"), ("< open bus0 >", "ok"), ("< rawmode >", "ok")):
            self.connection.sendall(say.encode())
            if self.next_element(time.monotonic() + PATIENCE_S).split() != ["<", answer]:
                raise SystemExit("this is no bus")

    def next_element(self, deadline):
        """What stands between '<' and '>' in the line protocol; empty when there is none in time."""
        while ">" not in self.pending:
            self.connection.settimeout(max(deadline - time.monotonic(), 0.001))
            try:
                received = self.connection.recv(4096).decode()
            except TimeoutError:
                return ""
            if not received:
                raise SystemExit("the bus is gone")
            self.pending += received
        element, self.pending = self.pending.split(">", 1)
        return element

    def send(self, frame):
        identifier, data = frame.split("#")
        octets = bytes.fromhex(data)
        self.connection.sendall(f"< send {identifier} {len(octets)} {octets.hex(' ')} >".encode())
        show(identifier, octets)

    def watch(self, seconds, wanted=None):
        """Prints what passes for a while, or until a frame begins as wanted. False when that did not come."""
        deadline = time.monotonic() + seconds
        while element := self.next_element(deadline):
            _, kind, identifier, _, *data = element.split()
            frame = show(identifier, bytes.fromhex("".join(data))) if kind == "frame" else ""
            if wanted and frame.replace(" ", "").startswith(wanted.replace(" ", "")):
                return True
        return False


def show(identifier, octets):
    text = f"{int(identifier, 16):03X}#{octets.hex(' ').upper()}"
    print(text, flush=True)
    return text


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--port", type=int, default=29536)
    parser.add_argument("--until", metavar="FRAME")
    parser.add_argument("--for", dest="seconds", type=float, metavar="SECONDS")
    parser.add_argument("frames", nargs="*", metavar="FRAME")
    arguments = parser.parse_args()
    bus = Bus(arguments.port)
    for frame in arguments.frames:
        bus.send(frame)
        identifier = int(frame.split("#")[0], 16)
        is_request = 0x601 <= identifier <= 0x67F
        if is_request and not bus.watch(PATIENCE_S / 20, f"{identifier - 0x80:03X}#"):
            print("no answer", flush=True)
    if arguments.until and not bus.watch(PATIENCE_S, arguments.until):
        return f"no frame {arguments.until}"
    if arguments.seconds:
        bus.watch(arguments.seconds)
    return None


if __name__ == "__main__":
    sys.exit(main())
