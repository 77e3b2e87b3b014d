"""The table of the object dictionary (dictionary.json), as SDO requests and the answers that belong to them."""

import json
import pathlib
import re
from dataclasses import dataclass, field

TABLE = pathlib.Path(__file__).parent.parent / "dictionary.json"
WRONG_SIZE = "06090030"
UNKNOWN = "06020000"
ANY_DATA = r"(..){4}"
SEGMENT_BYTES = 7


@dataclass
class Transfer:
    """What a master sends, and patterns of what it gets; data in hexadecimal digits."""

    requests: list
    answers: list


@dataclass
class Write:
    data: bytes
    answer: str
    holds: bytes


@dataclass
class Object:
    """One sub-index of the table."""

    index: int
    sub_index: int
    name: str
    reads: str
    size: int = None
    left: str = None  # what it holds after its writes, if not what it read before
    writes: list = field(default_factory=list)

    @property
    def is_number(self):
        return self.size is not None


def _write(text):
    words = text.split(";")[0].split("->")
    data = bytes.fromhex(words[0])
    return Write(data, words[1].strip(), bytes.fromhex(words[2]) if len(words) > 2 else data)


def _object(row):
    index, sub_index = row["at"].split(".")
    is_number = re.match(r"^\w\w( |$)", row["reads"])
    size = len(bytes.fromhex(row["reads"])) if is_number else row.get("size")
    return Object(int(index, 16), int(sub_index), row["name"], row["reads"], size, row.get("left"),
                  [_write(one) for one in row["writes"]])


def load(*sections):
    """The objects of some sections of the table, a later one before an earlier one."""
    table = json.loads(TABLE.read_text())
    return [_object(row) for row in
            {row["at"]: row for section in sections for row in table[section]}.values()]


def frame(command, index=0, sub_index=0, data=b""):
    return (bytes([command]) + index.to_bytes(2, "little") + bytes([sub_index]) + data.ljust(4, b"\0")).hex()


def abort(index, sub_index, code):
    return frame(0x80, index, sub_index, int(code, 16).to_bytes(4, "little"))


def upload(one, reads=None):
    """The upload of an object that holds what the table says, or 'reads'."""
    return Transfer(*_upload(one.index, one.sub_index, reads or one.reads, one.size))


def _upload(index, sub_index, reads, size):
    request = [frame(0x40, index, sub_index)]
    if reads.startswith("abort"):
        return request, [abort(index, sub_index, reads.split()[1])]
    if reads == "empty":
        return request, [frame(0x53, index, sub_index)[:8] + ANY_DATA]
    if reads == "moves":
        used, unused = "." * 2 * size, "0" * 2 * (4 - size)
        return request, [frame(0x4F - 4 * (size - 1), index, sub_index)[:8] + used + unused]
    data = reads[5:].encode() if reads.startswith("text") else bytes.fromhex(reads)
    if len(data) <= 4:
        return request, [frame(0x4F - 4 * (len(data) - 1), index, sub_index, data)]
    return _upload_in_segments(index, sub_index, data)


def _upload_in_segments(index, sub_index, data):
    requests = [frame(0x40, index, sub_index)]
    answers = [frame(0x41, index, sub_index, len(data).to_bytes(4, "little"))]
    for toggle, last, part in _segments(data):
        requests.append(frame(0x60 | toggle))
        answers.append((bytes([toggle | last]) + part).hex())
    return requests, answers


def _segments(data):
    """Toggle bit, bits of the last segment, seven bytes."""
    toggle = 0
    for offset in range(0, len(data), SEGMENT_BYTES):
        part = data[offset:offset + SEGMENT_BYTES]
        is_last = offset + SEGMENT_BYTES >= len(data)
        yield toggle, (SEGMENT_BYTES - len(part)) << 1 | is_last, part.ljust(SEGMENT_BYTES, b"\0")
        toggle ^= 0x10


def download(index, sub_index, data, answer):
    if len(data) > 4:
        return _download_in_segments(index, sub_index, data, answer)
    request = frame(0x2F - 4 * (len(data) - 1), index, sub_index, data)
    return Transfer([request], [_confirmation(index, sub_index, answer)])


def _confirmation(index, sub_index, answer):
    return frame(0x60, index, sub_index) if answer == "ok" else abort(index, sub_index, answer)


def _download_in_segments(index, sub_index, data, answer):
    """The node confirms the last segment before it writes: a refusal comes behind that."""
    transfer = Transfer([frame(0x21, index, sub_index, len(data).to_bytes(4, "little"))],
                        [frame(0x60, index, sub_index)])
    for toggle, last, part in _segments(data):
        transfer.requests.append((bytes([toggle | last]) + part).hex())
        transfer.answers.append(frame(0x20 | toggle))
    if answer != "ok":
        transfer.answers.append(abort(index, sub_index, answer))
    return transfer


def all_writes(one):
    """Each write of an object and, behind it, what the object then holds."""
    reads = one.reads
    for write in one.writes:
        yield download(one.index, one.sub_index, write.data, write.answer)
        if write.answer == "ok":
            reads = _as_read(one, write.holds)
        yield upload(one, reads)
    if one.is_number:
        for size in {1, 2, 3, 4} - {one.size}:
            yield download(one.index, one.sub_index, bytes(size), WRONG_SIZE)
        yield upload(one, reads)


def _as_read(one, data):
    return data.hex(" ") if one.is_number else "text " + data.decode()


def refusals_of_unknown(index, sub_index):
    return [Transfer([frame(0x40, index, sub_index)], [abort(index, sub_index, UNKNOWN)]),
            download(index, sub_index, b"\1", UNKNOWN)]


def sub_indexes_beside(objects):
    """For each index the lowest sub-index that it does not have and the one behind its last."""
    for index in sorted({one.index for one in objects}):
        known = {one.sub_index for one in objects if one.index == index}
        missing = [one for one in range(max(known) + 2) if one not in known]
        yield from ((index, sub_index) for sub_index in {missing[0], missing[-1], 0xFF})
