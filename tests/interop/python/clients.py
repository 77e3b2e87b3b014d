"""Clients of a served bus: python-can as others use it, and bare TCP for what no client should do."""

import socket
import struct
import time

import can

from panel import PATIENCE_S

CHANNEL = "bus0"
HEARTBEATS = range(0x701, 0x780)


def parse(text):
    """'605#40 08 10 00' -> identifier and data; blanks between the bytes are for the reader."""
    identifier, data = text.split("#")
    return int(identifier, 16), bytes.fromhex(data)


def show(identifier, data):
    return f"{identifier:03X}#{data.hex(' ').upper()}"


class FrameReader:
    """What waiting for a frame means, for each client that has receive_frame()."""

    def next(self, *identifiers):
        """The next frame with one of the identifiers, as text and with its time stamp."""
        deadline = time.monotonic() + PATIENCE_S
        while time.monotonic() < deadline:
            frame = self.receive_frame(deadline - time.monotonic())
            if frame and frame[0] in identifiers:
                identifier, data, stamp = frame
                return show(identifier, data), stamp
        raise AssertionError("no frame " + " or ".join(f"{one:03X}" for one in identifiers))

    def wait_for(self, frame):
        """Waits for exactly this frame, whatever comes before it. Returns its time stamp."""
        identifier, data = parse(frame)
        deadline = time.monotonic() + PATIENCE_S
        while time.monotonic() < deadline:
            text, stamp = self.next(identifier)
            if text == show(identifier, data):
                return stamp
        raise AssertionError(f"no frame {frame}")


class BusClient(FrameReader):
    """python-can, attached to the bus with its socketcand interface.

    It takes 1024 bytes at a time from its connection and loses the line that is cut there, so it is no
    witness of whether every frame of a burst was delivered; FrameClient is.
    """

    NAME = "python-can"

    def __init__(self, port):
        self._bus = can.Bus(interface="socketcand", host="127.0.0.1", port=port, channel=CHANNEL)

    def close(self):
        self._bus.shutdown()

    def send(self, *frames):
        for frame in frames:
            identifier, data = parse(frame)
            self._bus.send(can.Message(arbitration_id=identifier, data=data, is_extended_id=False))

    def receive(self, patience=PATIENCE_S):
        """The next frame as python-can gives it, or None."""
        return self._bus.recv(patience)

    def receive_frame(self, patience):
        message = self.receive(patience)
        return message and (message.arbitration_id, bytes(message.data), message.timestamp)


class LineClient:
    """A TCP client that speaks the line protocol by hand."""

    NAME = "bare TCP"

    def __init__(self, port, receive_buffer=None):
        self._socket = socket.socket()
        if receive_buffer:
            self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receive_buffer)
        self._socket.settimeout(PATIENCE_S)
        self._socket.connect(("127.0.0.1", port))
        self._pending = b""
        self.expect("< hi >")

    def close(self):
        self._socket.close()

    def reset(self):
        """Closes with a reset instead of an orderly end."""
        self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self._socket.close()

    def send(self, text):
        self._socket.sendall(text.encode())

    def expect(self, element):
        received = self.element()
        if received != element:
            raise AssertionError(f"{received!r} where {element!r} was expected")

    def attach(self):
        """Enters raw mode."""
        self.send(f"< open {CHANNEL} >")
        self.expect("< ok >")
        self.send("< rawmode >")
        self.expect("< ok >")
        return self

    def detach(self):
        """The socket, for those who go on with it alone."""
        return self._socket

    def element(self):
        """The next '< ... >'; empty when the other side closed the connection."""
        while b">" not in self._pending:
            more = self._socket.recv(65536)
            if not more:
                return ""
            self._pending += more
        text, self._pending = self._pending.split(b">", 1)
        return text.decode() + ">"

    def frames(self, identifier, wanted):
        """Reads until that many frames with the identifier have arrived; their data in order."""
        found = []
        while len(found) < wanted:
            words = self.element().split()
            if not words:
                raise AssertionError(f"closed after {len(found)} of {wanted} frames")
            if words[1] == "frame" and int(words[2], 16) == identifier:
                found.append(words[4])
        return found

    def set_patience(self, patience):
        self._socket.settimeout(patience)


class FrameClient(FrameReader):
    """All frames of the bus, none lost, over the line protocol by hand."""

    NAME = LineClient.NAME

    def __init__(self, port):
        self._line = LineClient(port).attach()

    def close(self):
        self._line.close()

    def send(self, *frames):
        self._line.send("".join(map(send_line, frames)))

    def receive_frame(self, patience):
        """Identifier, data and time stamp of the next frame; None when there is none in time."""
        self._line.set_patience(max(patience, 0.0001))
        try:
            return parse_line(self._line.element())
        except TimeoutError:
            return None


def send_line(frame):
    """The frame as a client sends it: '605#40 08' -> '< send 605 2 40 8 >'."""
    identifier, data = parse(frame)
    return "< send {:x} {:d} {} >".format(identifier, len(data), " ".join(f"{one:x}" for one in data))


def parse_line(element):
    """'< frame 585 1700000000.123456 4008 >' -> identifier, data and time stamp."""
    word, identifier, stamp, *data = element.strip("<> ").split()
    assert word == "frame", element
    return int(identifier, 16), bytes.fromhex("".join(data)), float(stamp)
