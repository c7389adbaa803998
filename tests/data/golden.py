#!/usr/bin/env python3
"""Writes golden.txt: a checksum of what LIBRARY decodes from each accepted file, for each option string.

    golden.py LIBRARY [--check]     with --check nothing is written; differences are printed

A lossless file's full picture must equal its source picture, and a lossy one must agree with opj_decompress
(package libopenjp2-tools): to a step below 8 bits, at 45 dB or better for 8 bits, at 60 dB or better above.
Nothing is written otherwise.
"""
import ctypes
import math
import os
import subprocess
import sys
import tempfile

import pictures
from codestream import crc

HERE = os.path.dirname(os.path.abspath(__file__))
OPTIONS = ['', 'co=RGB', 'rl=1', 'rl=2,bmp', 'video=1', 'video=0,nomct', 'bpp=8', 'mba']
FILL = 0xA5


class Library:
    def __init__(self, path):
        self.lib = ctypes.CDLL(os.path.abspath(path))
        self.lib.WBX_OpenFile.restype = ctypes.c_void_p
        self.lib.WBX_OpenFile.argtypes = [ctypes.c_char_p]
        self.lib.WBX_Close.argtypes = [ctypes.c_void_p]
        self.lib.WBX_Decode.argtypes = [ctypes.c_void_p, ctypes.POINTER(ctypes.c_void_p),
                                        ctypes.POINTER(ctypes.c_uint32), ctypes.c_char_p,
                                        ctypes.POINTER(ctypes.c_uint32)]

    def call(self, handle, memory, size, options):
        pointer, given = ctypes.c_void_p(ctypes.addressof(memory)), ctypes.c_uint32(size)
        code = self.lib.WBX_Decode(handle, ctypes.byref(pointer), ctypes.byref(given), options.encode(), None)
        return code, given.value

    def decode(self, name, options):
        handle = self.lib.WBX_OpenFile(os.path.join(HERE, name).encode())
        if not handle:
            sys.exit('%s does not open' % name)
        code, size = self.call(handle, ctypes.create_string_buffer(16), 1, options)
        if code != 0:
            memory = ctypes.create_string_buffer(bytes([FILL]) * size, size)
            code, size = self.call(handle, memory, size, options)
        else:
            memory = ctypes.create_string_buffer(bytes([FILL]), 1)
            self.call(handle, memory, 1, options)
        self.lib.WBX_Close(handle)
        if code:
            sys.exit('%s "%s": code %d' % (name, options, code))
        return memory.raw[:size]


def accepted():
    with open(os.path.join(HERE, 'accepted.txt')) as f:
        for line in f:
            yield line.split()


def samples(data, bits):
    if bits <= 8:
        return list(data)
    return [int.from_bytes(data[i:i + 2], sys.byteorder) for i in range(0, len(data), 2)]


def interleaved(planes, width, height):
    """The planes in the order of the output: the first three components from the last to the first."""
    order = range(len(planes)) if len(planes) < 3 else [2, 1, 0, 3][:len(planes)]
    return [planes[c][i] for i in range(width * height) for c in order]


def source(kind, width, height, components, bits):
    moved = 128 - (1 << (bits - 1)) if bits < 8 else 0
    return interleaved([[pictures.sample(kind, x, y, c, bits) + moved for y in range(height) for x in range(width)]
                        for c in range(components)], width, height)


def independent(name, width, height, components, bits):
    with tempfile.TemporaryDirectory() as folder:
        out = os.path.join(folder, 'x.rawl')
        subprocess.run(['opj_decompress', '-i', os.path.join(HERE, name), '-o', out], check=True,
                       stdout=subprocess.DEVNULL)
        with open(out, 'rb') as f:
            data = f.read()
    plane = width * height * (1 if bits <= 8 else 2)
    planes = []
    for c in range(components):
        part = data[c * plane:(c + 1) * plane]
        moved = 128 - (1 << (bits - 1)) if bits < 8 else 0
        planes.append([(part[i] if bits <= 8 else part[i] | part[i + 1] << 8) + moved
                       for i in range(0, len(part), 1 if bits <= 8 else 2)])
    return interleaved(planes, width, height)


def psnr(a, b, bits):
    error = sum((x - y) ** 2 for x, y in zip(a, b)) / len(a)
    return math.inf if error == 0 else 20 * math.log10((1 << bits) - 1) - 10 * math.log10(error)


def judge(row, data):
    """None, or what is wrong with the full picture."""
    name, numbers, steps, kind, lossless = row[0], list(map(int, row[1:11])), row[11], row[12], row[13] == 'lossless'
    width, height, components, bits = numbers[:4]
    if '2' in steps:
        return None                                          # compared in the tests, where chroma is doubled
    got = samples(data, bits)
    if not lossless:
        other = independent(name, width, height, components, bits)
        if bits < 8:
            return None if max(abs(a - b) for a, b in zip(got, other)) <= 1 else 'more than one step away'
        likeness = psnr(got, other, bits)
        return None if likeness >= (45 if bits == 8 else 60) else 'only %.1f dB' % likeness
    if name.startswith(('channels_blue', 'ycc')):
        return None                                          # other orders and colours, told in the tests
    return None if got == source(kind, width, height, components, bits) else 'not the source picture'


def main():
    library, lines, wrong = Library(sys.argv[1]), ['|'.join(OPTIONS)], 0
    for row in accepted():
        decoded = [library.decode(row[0], options) for options in OPTIONS]
        trouble = judge(row, decoded[0])
        if trouble:
            print('%s: %s' % (row[0], trouble))
            wrong += 1
        lines.append(row[0] + ' ' + ' '.join('%08x' % crc(data) for data in decoded))
    path = os.path.join(HERE, 'golden.txt')
    if '--check' in sys.argv:
        with open(path) as f:
            old = f.read().split('\n')
        changed = [line for line in lines if line not in old]
        print('\n'.join(changed))
        wrong += len(changed)
    elif not wrong:
        with open(path, 'w') as f:
            f.write('\n'.join(lines) + '\n')
    sys.exit(1 if wrong else 0)


if __name__ == '__main__':
    main()
