"""What the C functions do not tell: the colours in the header boxes of a JP2 file (T.800 I.5.3), and the
sub-sampling in the SIZ marker segment (A.5.1).

Everything here is hostile: each box is held to the space of the box around it, and what makes no sense is
left out, as if the file did not say it.
"""

import struct
from typing import Any, Callable, Dict, Iterator, NamedTuple, Optional, Tuple

ReadAt = Callable[[int, int], bytes]
Palette = Tuple[Tuple[int, ...], ...]

_MOST_BOXES = 1000
_END_OF_FILE = 2**32

_COLOURS = {0: "bilevel", 12: "CMYK", 14: "CIELab", 15: "bilevel", 16: "sRGB", 17: "grey", 18: "sYCC"}


class Header(NamedTuple):
    """`in_order` is false if the file gives its colours in another order than that of the components."""

    colour: Optional[str] = None
    palette: Optional[Palette] = None
    opacity: Optional[str] = None
    in_order: bool = True
    subsampling: Tuple[Tuple[int, int], ...] = ()


def _boxes(read_at: ReadAt, start: int, end: int) -> Iterator[Tuple[bytes, int, int]]:
    """(type, first byte, end) of the contents of the boxes in a range."""
    for _ in range(_MOST_BOXES):
        head = read_at(start, 16) if start + 8 <= end else b""
        if len(head) < 8:
            return
        length, kind = struct.unpack(">I4s", head[:8])
        size = 8
        if length == 1 and len(head) == 16:
            length, size = struct.unpack(">Q", head[8:])[0], 16
        stop = end if length == 0 else start + length
        if stop < start + size or stop > end:
            return
        yield kind, start + size, stop
        start = stop


def _colour(box: bytes) -> Optional[str]:
    """The colour space of a colour specification box."""
    if len(box) >= 7 and box[0] == 1:
        (number,) = struct.unpack(">I", box[3:7])
        return _COLOURS.get(number, "enumerated %d" % number)
    return "ICC" if len(box) > 3 and box[0] in (2, 3) else None


def _palette(box: bytes) -> Optional[Palette]:
    """The rows of a palette box, one sample for each column."""
    if len(box) < 4:
        return None
    count, columns = struct.unpack(">HB", box[:3])
    sizes = [(bits & 0x7F) // 8 + 1 for bits in box[3 : 3 + columns]]
    if not 1 <= count <= 1024 or columns == 0 or len(box) != 3 + columns + count * sum(sizes):
        return None
    at, rows = 3 + columns, []
    for _ in range(count):
        row = []
        for size in sizes:
            row.append(int.from_bytes(box[at : at + size], "big"))
            at += size
        rows.append(tuple(row))
    return tuple(rows)


def _channels(box: bytes) -> Tuple[Optional[str], bool]:
    """What a channel definition box says: the kind of opacity, and whether the colours are in order."""
    opacity, in_order = None, True
    for at in range(2, len(box) - 5, 6):
        number, kind, colour = struct.unpack(">HHH", box[at : at + 6])
        if kind in (1, 2):
            opacity = "straight" if kind == 1 else "premultiplied"
        elif kind == 0:
            in_order = in_order and colour == number + 1
    return opacity, in_order


def _read_header_box(read_at: ReadAt, start: int, end: int) -> Header:
    found: Dict[bytes, Any] = {}
    readers = {b"colr": (7, _colour), b"pclr": (2**20, _palette), b"cdef": (2**16, _channels)}
    for kind, first, stop in _boxes(read_at, start, end):
        if kind in readers and found.get(kind) is None:
            most, reader = readers[kind]
            found[kind] = reader(read_at(first, min(stop - first, most)))
    return Header(found.get(b"colr") or "unknown", found.get(b"pclr"), *found.get(b"cdef", (None, True)))


def _subsampling(codestream: bytes) -> Tuple[Tuple[int, int], ...]:
    """(horizontal, vertical) step of each component, from SOC and SIZ at the start of a codestream."""
    if len(codestream) < 42 or codestream[:4] != b"\xff\x4f\xff\x51":
        return ()
    (count,) = struct.unpack(">H", codestream[40:42])
    steps = [codestream[at + 1 : at + 3] for at in range(42, 42 + 3 * min(count, 4), 3)]
    return tuple((step[0], step[1]) for step in steps if len(step) == 2)


def read_header(read_at: ReadAt) -> Header:
    """The header of a file or of a raw codestream."""
    raw = _subsampling(read_at(0, 54))
    if raw:
        return Header(subsampling=raw)
    header = Header("unknown")
    for kind, start, end in _boxes(read_at, 0, _END_OF_FILE):
        if kind == b"jp2h":
            header = _read_header_box(read_at, start, end)
        elif kind == b"jp2c":
            return header._replace(subsampling=_subsampling(read_at(start, min(54, end - start))))
    return header
