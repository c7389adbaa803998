"""Decodes every accepted file of a folder with nothing but the package and Python: bare.py FOLDER"""

import ctypes
import pathlib
import sys
import zlib

import wbx
from wbx._library import lib


def plain_checksum(path):
    """The checksum of the samples that the C function writes to a buffer without gaps."""
    handle = lib.WBX_OpenFile(str(path).encode())
    size, one = ctypes.c_uint32(1), ctypes.create_string_buffer(1)
    memory = one
    for _ in range(2):  # the first call asks for the size
        address = ctypes.c_void_p(ctypes.addressof(memory))
        code = lib.WBX_Decode(handle, ctypes.byref(address), ctypes.byref(size), b"co=RGB", None)
        if code == 0:
            break
        memory = ctypes.create_string_buffer(size.value)
    lib.WBX_Close(handle)
    assert code == 0, path
    return zlib.crc32(memory.raw[: size.value])


def check(path):
    with wbx.open(path) as image:
        width, height = image.size()
        memory = bytearray(width * height * image.components * (1 if image.precision <= 8 else 2))
        image.decode(out=memory, options="video=2")
        lift = 128 - 2 ** (image.precision - 1) if image.precision < 8 else 0
        samples = bytes(value + lift for value in memory) if lift else memory
        assert zlib.crc32(samples) == plain_checksum(path), path
        shown = image.decode(level=image.levels - 1)
        assert not isinstance(shown, memoryview) or shown.nbytes == 0 or len(shown.shape) == 3


if __name__ == "__main__":
    files = [path for path in pathlib.Path(sys.argv[1]).glob("*.j[2p]*") if not path.name.startswith("bad_")]
    for path in files:
        check(path)
    print("Python %s: %d files decoded" % (sys.version.split()[0], len(files)))
