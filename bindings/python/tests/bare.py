"""Decodes every accepted file of a folder with nothing but the package and Python: bare.py FOLDER"""

import pathlib
import sys
import zlib

import wbx

folder = pathlib.Path(sys.argv[1])
golden = [line.split() for line in (folder / "golden.txt").read_text().splitlines()[1:]]
for name, _, colours, *_ in golden:
    with wbx.open(folder / name) as image:
        width, height = image.size()
        memory = bytearray(width * height * image.components * (1 if image.precision <= 8 else 2))
        image.decode(out=memory, options="video=2")
        lift = 128 - 2 ** (image.precision - 1) if image.precision < 8 else 0
        samples = bytes(value + lift for value in memory) if lift else memory
        assert zlib.crc32(samples) == int(colours, 16), name
        shown = image.decode(level=image.levels - 1)
        assert not isinstance(shown, memoryview) or shown.nbytes == 0 or len(shown.shape) == 3
print("Python %s: %d files decoded" % (sys.version.split()[0], len(golden)))
