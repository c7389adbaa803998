#!/usr/bin/env python3
"""Writes the seed corpus of each fuzz target: make_seeds.py TESTS_DATA OUTPUT.

Files of the test data with a tail of decisions for the targets that open files, and small
inputs of each shape for the others.
"""

import pathlib
import random
import struct
import sys

TAIL = 32
LARGEST = 6000


# Behind SIZ: comments of one to four bytes a character, with control characters and with what is no UTF-8.
COMMENTS = ["caf\u00e9 \u20ac \U0001f600".encode(), b"\x1b[2J\n\x7f\xc2\x85", b"\xc3(\xe2\x82\xff\xf5\x80\x80\x80\xc3"]


def files(data):
    for path in sorted(data.rglob("*")):
        if path.suffix in (".j2k", ".jp2") and path.stat().st_size <= LARGEST:
            yield path.stem, path.read_bytes()
    content = (data / "grey_flat.j2k").read_bytes()
    behind = 4 + struct.unpack(">H", content[4:6])[0]
    com = b"".join(struct.pack(">HHH", 0xFF64, 4 + len(text), 1) + text for text in COMMENTS)
    yield "utf8", content[:behind] + com + content[behind:]


def random_tail(rng, *first):
    return bytes(first) + bytes(rng.randrange(256) for _ in range(TAIL - len(first)))


def seed_files(data, out, rng):
    for name, content in files(data):
        (out / "memory" / name).write_bytes(content + bytes(TAIL))
        (out / "memory" / (name + "-any")).write_bytes(content + random_tail(rng))
        (out / "callbacks" / name).write_bytes(content + bytes(TAIL))
        (out / "facts" / name).write_bytes(content + bytes(TAIL))
        tails = {
            "mishap": (rng.randrange(32), rng.randrange(6), 0, rng.randrange(64)),
            "fault": (32 | rng.randrange(32), 1, 0, rng.randrange(16)),
            "shortage": (64 | 2, 0, 0, 0, 0, rng.randrange(64)),
        }
        for kind, first in tails.items():
            (out / "callbacks" / (name + "-" + kind)).write_bytes(content + random_tail(rng, *first))
        tails = {
            "log": (1 | rng.randrange(8, 128, 2) & ~2,),
            "shortage": (3 | rng.randrange(0, 128, 4), 0, rng.randrange(64)),
        }
        for kind, first in tails.items():
            (out / "file" / (name + "-" + kind)).write_bytes(content + random_tail(rng, *first))


def seed_options(out):
    texts = ["", "rl=1,bpp=4", "res_level=-1", "co=RGB,bmp", "comp_order=R,mba", "video=1,nomct",
             "bpp=4,unknown,res_level=1", " , ,", "BPP= 7x ,sse=1", "co=", "video", "bitmap=0"]
    for i, text in enumerate(texts):
        for shape in (0, 1, 0x41):
            (out / "options" / f"{i}-{shape}").write_bytes(text.encode() + bytes([shape]))


def seed_blocks(out, rng):
    for i in range(64):
        flags = rng.randrange(256)
        block = bytearray([0, flags, rng.randrange(128), rng.randrange(64)])
        if flags & 16:
            block.append(rng.randrange(39))
        else:
            block.append(rng.randrange(12))
        if flags & 32:
            block.append(rng.randrange(8))
        block.append(rng.randrange(3))
        block += bytes([rng.randrange(64), rng.randrange(4), 1 + i % 4])
        for _ in range(1 + i % 4):
            length = rng.randrange(1, 60)
            block += bytes([rng.randrange(10), 2 * length + rng.randrange(2)])
            block += bytes(rng.choice((0, rng.randrange(256))) for _ in range(length))
        (out / "code_block" / str(i)).write_bytes(block)


def seed_synthesis(out, rng):
    for kind in range(128):
        lanes = bytes(rng.randrange(256) for _ in range(64))
        head = struct.pack("BBBB", kind, rng.randrange(12), rng.randrange(12), rng.randrange(32))
        (out / "synthesis" / str(kind)).write_bytes(head + lanes)


def main():
    data, out = map(pathlib.Path, sys.argv[1:3])
    for target in ("memory", "callbacks", "file", "options", "code_block", "synthesis", "facts"):
        (out / target).mkdir(parents=True, exist_ok=True)
    rng = random.Random(1)
    seed_files(data, out, rng)
    seed_options(out)
    seed_blocks(out, rng)
    seed_synthesis(out, rng)


if __name__ == "__main__":
    main()
