#!/usr/bin/env python3
"""Encodes the pictures of encoded.list again and says which files differ from those beside it.

    make.py [NAME]...     with names, writes these files instead

Needs a Debian 12 machine with libopenjp2-tools (opj_compress 2.5.0) and grokj2k-tools (grk_compress 10.0.5); other
versions may give other bytes. The other files here are edits of the encoded ones by hand: boxes around a codestream,
or a field that their name tells.
"""
import os
import struct
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
COM, SOT, SIZ, QCD = 0xFF64, 0xFF90, 0xFF51, 0xFF5C
# The precisions that the encoders take as raw samples. One in between is encoded in the next of these, its samples
# moved so that the level shift leaves the same numbers, and SIZ is told the true precision afterwards.
CARRIERS = (8, 10, 12, 14, 16)


def photo():
    with open(os.path.join(HERE, 'photo.ppm'), 'rb') as f:
        _, size, _, pixels = f.read().split(b'\n', 3)
    width, height = map(int, size.split())
    return width, height, pixels


def sample(kind, x, y, c, bits, photo=photo()):
    """Sample (x, y) of component c, counted in the component's own samples from its top left corner."""
    top = (1 << bits) - 1
    noise = (x * 374761393 + y * 668265263 + c * 2246822519) & 0xFFFFFFFF
    noise = ((noise ^ (noise >> 13)) * 1274126177) & 0xFFFFFFFF
    noise ^= noise >> 16
    if kind == 'gradient':
        t = (x * 3 + y * 2 + c * 37) & 0xFF
        return (255 - t if t > 127 else t) * top // 127
    if kind == 'text':
        return top if ((x // 3 + c) ^ (y // 5)) & 1 else top // 2 if (x + y) % 7 == 0 else 0
    if kind == 'photo':
        width, height, pixels = photo
        v = pixels[((y % height) * width + x % width) * 3 + c % 3]
        v = 255 - v if c > 2 else v
        return v >> (8 - bits) if bits <= 8 else v << (bits - 8) | v >> (16 - bits)
    return {'noise': noise & top, 'extremes': top if noise & 64 else 0, 'flat': top // 3}[kind]


def markers(stream):
    """(marker, offset, length) of each segment of the main header."""
    at = 2
    while struct.unpack_from('>H', stream, at)[0] != SOT:
        marker, length = struct.unpack_from('>HH', stream, at)
        yield marker, at, length + 2
        at += length + 2


def finish(stream, bits, carrier, irreversible):
    """Without comments, and with the true precision. Irreversible steps count from that: smaller exponents and as
    many more guard bits keep both the steps and the bit planes as they were."""
    for marker, at, length in reversed(list(markers(stream))):
        if marker == COM:
            del stream[at:at + length]
    for marker, at, length in markers(stream):
        if marker == SIZ:
            for c in range((length - 40) // 3):
                stream[at + 40 + 3 * c] = bits - 1
        if marker == QCD and irreversible:
            fewer = carrier - bits
            stream[at + 4] += fewer << 5
            for k in range(at + 5, at + length, 2):
                struct.pack_into('>H', stream, k, struct.unpack_from('>H', stream, k)[0] - (fewer << 11))
    return bytes(stream)


def encode(folder, kind, size, bits, steps, encoder, arguments):
    width, height, components = map(int, size.split('x'))
    steps = ':'.join(['1x1'] * components) if steps == '-' else steps
    carrier = next(b for b in CARRIERS if b >= bits)
    moved = (1 << (carrier - 1)) - (1 << (bits - 1))
    source, target = os.path.join(folder, 'a.rawl' if carrier > 8 else 'a.raw'), os.path.join(folder, 'a.j2k')
    with open(source, 'wb') as f:
        for c, (dx, dy) in enumerate(tuple(map(int, s.split('x'))) for s in steps.split(':')):
            for y in range(-(-height // dy)):
                for x in range(-(-width // dx)):
                    f.write((sample(kind, x, y, c, bits) + moved).to_bytes(2 if carrier > 8 else 1, 'little'))
    form = '%d,%d,%d,%d,u@%s' % (width, height, components, carrier, steps)
    subprocess.run([encoder + '_compress', '-i', source, '-o', target, '-F', form] + arguments, check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    with open(target, 'rb') as f:
        return finish(bytearray(f.read()), bits, carrier, '-I' in arguments)


def main():
    with open(os.path.join(HERE, 'encoded.list')) as f:
        rows = [line.split() for line in f if not line.startswith('#')]
    with tempfile.TemporaryDirectory() as folder:
        for name, kind, size, bits, steps, encoder, *arguments in rows:
            if len(sys.argv) > 1 and name not in sys.argv:
                continue
            stream = encode(folder, kind, size, int(bits), steps, encoder, arguments)
            with open(os.path.join(HERE, name), 'wb' if len(sys.argv) > 1 else 'rb') as f:
                if len(sys.argv) > 1:
                    f.write(stream)
                elif f.read() != stream:
                    print(name + ' differs')


if __name__ == '__main__':
    main()
