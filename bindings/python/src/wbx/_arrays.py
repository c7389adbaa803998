"""Pictures in memory: numpy arrays where there is numpy, else memoryviews of bytearrays."""

import ctypes as ct
import importlib
from typing import Any, NamedTuple, Optional

from ._library import Memory, lib, pointer, u32
from ._sources import Handle

numpy: Any = None
try:
    numpy = importlib.import_module("numpy")
except ImportError:
    pass

_WIDEST_PIXEL = 64  # bytes from pixel to pixel that the library is asked to keep


class Shape(NamedTuple):
    """A picture: rows, columns, samples of a pixel, bytes of a sample."""

    height: int
    width: int
    samples: int
    sample_bytes: int


class Layout(NamedTuple):
    """Where the rows and pixels of a picture lie: the address of the first sample, the bytes from row to row
    (negative for a picture with its last row first) and from pixel to pixel."""

    shape: Shape
    address: int
    row: int
    pixel: int

    def rows(self, top: int, bottom: int) -> "Layout":
        return self._replace(
            shape=self.shape._replace(height=bottom - top), address=self.address + top * self.row
        )

    def decode(self, handle: Handle, options: str) -> None:
        """Decodes the selected tiles, which must give a picture of this shape."""
        shape, flipped = self.shape, self.row < 0
        if shape.height == 0 or shape.width == 0:
            return
        pitch = u32(abs(self.row))
        size = u32(min(abs(self.row) * shape.height, 2**32 - 1))
        buffer = pointer(self.address + (self.row * (shape.height - 1) if flipped else 0))
        text = "%s,bpp=%d,bitmap=%d" % (options, self.pixel, flipped)
        handle.check(
            lib.WBX_Decode(
                handle.pointer, ct.byref(buffer), ct.byref(size), text.encode("ascii", "replace"), ct.byref(pitch)
            )
        )


class Picture:
    """A picture to decode to: `layout` for the library, `array` for the user, and the memory of both."""

    def __init__(self, shape: Shape, room: int = 0) -> None:
        """New memory, all zero, for pixels of `room` samples, or without room between them."""
        self.shape = shape
        pixel = max(room, shape.samples) * shape.sample_bytes
        row = pixel * shape.width
        if numpy is not None:
            self._memory = numpy.zeros(shape.height * row, numpy.uint8)
            address = self._memory.ctypes.data
        else:
            self._memory = bytearray(shape.height * row)
            self._hold = Memory(self._memory, writable=True)
            address = self._hold.address
        self.layout = Layout(shape, address, row, pixel)

    @property
    def flat(self) -> memoryview:
        """All bytes, those between the pixels as well."""
        return memoryview(self._memory)

    @property
    def array(self) -> Any:
        shape, pixel = self.shape, self.layout.pixel // self.shape.sample_bytes
        if numpy is not None:
            samples = self._memory.view(numpy.uint8 if shape.sample_bytes == 1 else numpy.uint16)
            return samples.reshape(shape.height, shape.width, pixel)[..., : shape.samples]
        if not self._memory:
            return self.flat
        kind = "B" if shape.sample_bytes == 1 else "H"
        return self.flat.cast(kind, shape[:3])

    def crop(self, rows: slice, columns: slice) -> "Picture":
        """A part, in memory of its own."""
        part = Picture(self.shape._replace(height=rows.stop - rows.start, width=columns.stop - columns.start))
        row, pixel, width = self.layout.row, self.layout.pixel, part.layout.row
        for number in range(part.shape.height):
            at = (rows.start + number) * row + columns.start * pixel
            part.flat[number * width : (number + 1) * width] = self.flat[at : at + width]
        return part

    def lower(self, precision: int) -> None:
        """Brings samples of fewer than 8 bits, which have the level shift of 8 bits, to 0 to 2^n - 1."""
        lowest, most = 128 - (1 << (precision - 1)), (1 << precision) - 1
        if numpy is not None:
            numpy.clip(self._memory, lowest, lowest + most, out=self._memory)
            self._memory -= numpy.uint8(lowest)
        else:
            table = bytes(min(max(value - lowest, 0), most) for value in range(256))
            memoryview(self._memory)[:] = self._memory.translate(table)


def bytes_of(out: Any, shape: Shape) -> memoryview:
    """The bytes of any writable memory that is as long as the picture, for users without numpy."""
    view = memoryview(out)
    if view.readonly or not view.c_contiguous:
        raise ValueError("out must be writable memory without gaps")
    if view.nbytes != shape.height * shape.width * shape.samples * shape.sample_bytes:
        raise ValueError("out has %d bytes and the picture has the shape %s" % (view.nbytes, shape))
    return view.cast("B")


def is_array(out: Any) -> bool:
    return numpy is not None and isinstance(out, numpy.ndarray)


def fitting(out: Any, shape: Shape) -> Any:
    """A view of an array with the shape of the picture, or ValueError."""
    wanted = shape[:3]
    dtype = numpy.dtype(numpy.uint8 if shape.sample_bytes == 1 else numpy.uint16)
    if out.shape != wanted and (shape.samples != 1 or out.shape != wanted[:2]):
        raise ValueError("out has the shape %s and the picture %s" % (out.shape, wanted))
    if out.dtype != dtype or not out.flags.writeable:
        raise ValueError("out must be a writable array of %s" % dtype)
    return out.reshape(wanted) if out.ndim == 3 else out[..., numpy.newaxis]


def layout_of(array: Any, shape: Shape) -> Optional[Layout]:
    """How the library can decode straight into an array and touch nothing else; None if it cannot."""
    row, pixel, sample = array.strides
    size = shape.sample_bytes
    direct = (
        array.flags.aligned
        and (shape.samples == 1 or sample == size)
        and shape.samples * size <= pixel <= _WIDEST_PIXEL
        and pixel % size == 0
        and row % size == 0
        and pixel * shape.width <= abs(row) < 2**32
        # The fourth sample of a pixel is filled when there are one or three.
        and not (pixel == 4 * size and shape.samples in (1, 3))
    )
    return Layout(shape, array.ctypes.data, row, pixel) if direct else None
