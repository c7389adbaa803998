"""An open image and its decodes."""

import bisect
import contextlib
import ctypes as ct
import threading
import time
from typing import TYPE_CHECKING, Any, Iterable, Iterator, List, NamedTuple, Optional, Sequence, Tuple, Union

from . import _arrays, _library
from ._arrays import Layout, Picture, Shape
from ._header import Header, Palette, read_header
from ._jobs import on_main_thread, run_together
from ._library import ImageInfo, i32, lib, pointer, u32
from ._sources import Handle, source_of
from .errors import error_of
from .metadata import Entry, entry_of

if TYPE_CHECKING:
    import os
    from typing import IO

    import numpy.typing as npt

    Source = Union[str, os.PathLike[str], bytes, bytearray, memoryview, IO[bytes], Any]
    Array = npt.NDArray[Any]

_BAD_TILE, _CANCELLED = 9, 6
_LARGEST_PIECE = 2**32 - 1  # bytes of one decode
_LONG_DECODE = 2**20  # samples; more should hear Ctrl-C


class TileGrid(NamedTuple):
    """The tiles of an image: `down` rows of `across`. Tile `row * across + column` lies in that row and
    column."""

    down: int
    across: int


class Area(NamedTuple):
    """A rectangle of the tile grid, ends excluded."""

    top: int
    bottom: int
    left: int
    right: int

    def ranges(self, across: int) -> List[Tuple[int, int]]:
        """The numbers of its tiles, as pairs of the first and the last."""
        if self.right - self.left == across:
            return [(self.top * across, self.bottom * across - 1)]
        return [(row * across + self.left, row * across + self.right - 1) for row in range(self.top, self.bottom)]


class _Edges(Sequence[int]):
    """Where the rows (or columns) of tiles begin in the picture at a level; item `count` is the end."""

    def __init__(self, handle: Handle, grid: TileGrid, level: int, columns: bool) -> None:
        self._handle, self._level, self._columns = handle, level, columns
        self._count, self._step = (grid.across, 1) if columns else (grid.down, grid.across)

    def __len__(self) -> int:
        return self._count + 1

    def __getitem__(self, index: Any) -> Any:
        if index == 0:
            return 0
        self._handle.select([(0, index * self._step - 1)])
        width, height = self._handle.size(self._level)
        return width if self._columns else height

    def cover(self, start: int, end: int) -> Tuple[int, int]:
        """The rows (or columns) of tiles that hold the positions from `start` to `end`."""
        return bisect.bisect_right(self, start) - 1, bisect.bisect_left(self, end)


class Image:
    """An open image: what it is, what it carries, and decodes of it. Use it as a context manager, or close it.

    An image may be used from any thread; of several calls at once each waits for the one before. Only `cancel`
    does not wait. Different images work in parallel.

    Attributes, all of the whole image at full resolution:
        width, height: in pixels.
        components: samples of a pixel, 1 to 4.
        precision: bits of a sample, 1 to 16. Samples fill 0 to 2^precision - 1.
        levels: the number of resolutions. Level 0 is the whole size, each further one about half as wide and
            high.
        tiles: rows and columns of the tile grid.
        jp2: whether the image lies in a JP2 or JPX file, and not in a raw codestream.
        reversible: whether the 5-3 reversible wavelet was used, without which nothing is lossless.
    """

    def __init__(self, source: "Source") -> None:
        self._guard = threading.Lock()  # of what `cancel` looks at
        self._turn = threading.Lock()
        self._owner: Optional[int] = None
        self._running: Optional[object] = None
        self._stopping = False
        self._handles: List[Handle] = []
        self._header: Optional[Header] = None
        self._metadata: Optional[Tuple[Entry, ...]] = None
        self._source = source_of(source)
        self._handles.append(self._source.open())
        self._read_info(self._handles[0])

    def _read_info(self, handle: Handle) -> None:
        info = ImageInfo()
        handle.check(lib.WBX_GetInfoEx(handle.pointer, ct.byref(info)))
        self.width, self.height = info.width, info.height
        self.components, self.precision = info.components, info.precision
        self.tiles = TileGrid(info.tiles_down, info.tiles_across)
        self.jp2 = bool(info.flags & _library.JP2_FILE)
        self.reversible = bool(info.flags & _library.REVERSIBLE)
        self.levels = handle.resolutions()
        self._sizes = [handle.size(level) for level in range(self.levels)]

    def __enter__(self) -> "Image":
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def __del__(self) -> None:
        for handle in getattr(self, "_handles", []):
            handle.close()

    def __repr__(self) -> str:
        name = self._source.name and " %r" % self._source.name
        return "<wbx.Image%s %d x %d, %d of %d bits>" % (
            name, self.width, self.height, self.components, self.precision,
        )  # fmt: skip

    def close(self) -> None:
        """Closes the image; waits for a decode on another thread. Arrays stay as they are."""
        with self._exclusive():
            with self._guard:
                handles, self._handles = self._handles, []
            for handle in handles:
                handle.close()

    @contextlib.contextmanager
    def _exclusive(self) -> Iterator[None]:
        """The image for this thread alone. A file object that uses its own image would wait for ever."""
        if self._owner == threading.get_ident():
            raise RuntimeError("the image is in use further up on this thread")
        with self._turn:
            self._owner = threading.get_ident()
            try:
                yield
            finally:
                self._owner = None

    def _open_handle(self) -> Handle:
        if not self._handles:
            raise ValueError("the image is closed")
        return self._handles[0]

    # -- information

    @property
    def dtype(self) -> Any:
        """numpy.uint8 for a precision up to 8 bits, else numpy.uint16, as numpy.dtype; without numpy their
        names."""
        name = "uint8" if self.precision <= 8 else "uint16"
        return name if _arrays.numpy is None else _arrays.numpy.dtype(name)

    def size(self, level: int = 0) -> Tuple[int, int]:
        """(width, height) of the picture at a level, in pixels. ValueError for a level that is none."""
        if not 0 <= level < self.levels:
            raise ValueError("level %s; the image has the levels 0 to %d" % (level, self.levels - 1))
        width, height = self._sizes[level]
        return width, height

    def decoded_size(self, tiles: Union[int, Iterable[int]], level: int = 0) -> Tuple[int, int]:
        """(width, height) of what `decode` gives for these tiles at a level."""
        ranges = self._ranges(tiles)
        with self._exclusive():
            handle = self._open_handle()
            try:
                handle.select(ranges)
                width, height = handle.size(level)
                return width, height
            finally:
                handle.select_all()

    def level_for(self, width: int, height: int) -> int:
        """The level with the smallest picture that is at least so large; 0 if there is none."""
        fitting = [n for n, (w, h) in enumerate(self._sizes) if w >= width and h >= height]
        return max(fitting, default=0)

    def _boxes(self) -> Header:
        if self._header is None:
            with self._exclusive():
                self._open_handle()
                self._header = read_header(self._source.read_at)
        return self._header

    @property
    def colour(self) -> Optional[str]:
        """What a JP2 file says about its colours: "sRGB", "grey", "sYCC", "CMYK", "CIELab", "bilevel", "ICC"
        (see `metadata` for the profile), "enumerated N" or "unknown"; None for a raw codestream.

        sYCC comes out of a decode to bytes as RGB; all other colours are as they were coded."""
        return self._boxes().colour

    @property
    def palette(self) -> Optional[Palette]:
        """The rows of the palette, a tuple of samples each, or None. Samples of the first component are
        numbers of rows; the palette is not applied by a decode."""
        return self._boxes().palette

    @property
    def opacity(self) -> Optional[str]:
        """"straight" or "premultiplied" if the file says that a channel, usually the last one, is opacity;
        else None."""
        return self._boxes().opacity

    @property
    def subsampling(self) -> Tuple[Tuple[int, int], ...]:
        """The horizontal and vertical sub-sampling of each component, 1 or 2. A decode enlarges components by
        repetition, so that every pixel has all samples."""
        return self._boxes().subsampling

    @property
    def metadata(self) -> Tuple[Entry, ...]:
        """The comments and boxes of the image, in the order of the file, each an entry of a type of
        `wbx.metadata`: Comment, BinaryComment, Xml, IccProfile, GeoTiff, Url, Palette or Uuid."""
        if self._metadata is None:
            with self._exclusive():
                self._metadata = tuple(self._read_metadata(self._open_handle()))
        return self._metadata

    def _read_metadata(self, handle: Handle) -> Iterator[Entry]:
        index, kind, data, length = i32(), u32(), pointer(), u32()
        arguments = [ct.byref(value) for value in (index, kind, data, length)]
        while True:
            handle.check(lib.WBX_GetMetaData(handle.pointer, *arguments))
            if data.value is None:
                return
            yield entry_of(kind.value, ct.string_at(data.value, length.value))

    # -- decode

    def decode(
        self,
        out: Any = None,
        level: int = 0,
        tiles: Union[None, int, Iterable[int]] = None,
        region: Optional[Tuple[int, int, int, int]] = None,
        order: str = "RGB",
        options: Optional[str] = None,
        threads: int = 1,
    ) -> "Array":
        """Decodes to an array of the shape (rows, columns, components) and the type `dtype`.

        out: a writable array to decode to, of that shape (or (rows, columns) for one component) and type; any
            view will do. Most are decoded to directly: rows and pixels may have room between them, and the
            last row may come first. Without numpy, writable memory of that many bytes.
        level: the resolution, from 0, whole size, to `levels` - 1.
        tiles: a tile or several, by number; the picture is then their bounding rectangle.
        region: (left, top, right, bottom) of the wanted part, right and bottom excluded, in pixels of the
            picture at that level. Only the tiles that it touches are decoded.
        order: "RGB" or "BGR", of the samples of three or four components.
        options: more options of the library, such as "mul_by_alpha". They do not change the shape. "nomct"
            stays on for later decodes of this image.
        threads: up to so many threads for an image of several rows of tiles. Each has a handle of its own.

        What no selected tile covers is 0. Three components that were coded with the 9-7 wavelet lie in pixels
        of four samples, since that is faster and rounds better, and the array is a view of their first three.
        With `out` a sample can differ by 1 from that. Without numpy a memoryview is returned.

        Ctrl-C ends a long decode. Errors: CancelledError (see `cancel`), ArgumentError or ValueError for
        arguments, NoMemoryError, IncompleteError or the exception of a file object for a source that fails,
        and ValueError for a closed image.
        """
        if tiles is not None and region is not None:
            raise ValueError("tiles or region, not both")
        self.size(level)
        text = self._options(level, order, options)
        with self._exclusive(), self._decoding():
            handle = self._open_handle()
            try:
                array: "Array"
                if tiles is not None:
                    array = self._decode_tiles(handle, self._ranges(tiles), level, text, out)
                else:
                    array = self._decode_area(handle, region, level, text, out, max(1, int(threads)))
                return array
            finally:
                handle.select_all()

    def cancel(self) -> None:
        """Stops a decode that runs on another thread, which then raises CancelledError, and returns when it
        has ended. Without one nothing happens."""
        running = self._running
        while running is not None and self._running is running:
            self._stop()
            if self._owner == threading.get_ident():
                return
            time.sleep(0.001)

    def _stop(self) -> None:
        with self._guard:
            self._stopping = self._running is not None
            for handle in self._handles if self._stopping else []:
                lib.WBX_Cancel(handle.pointer)

    @contextlib.contextmanager
    def _decoding(self) -> Iterator[None]:
        with self._guard:
            self._running, self._stopping = object(), False
        try:
            yield
        finally:
            with self._guard:
                self._running = None

    def _options(self, level: int, order: str, options: Optional[str]) -> str:
        """The option text but for what depends on the memory. Later options win, so ours stand last."""
        if order not in ("RGB", "BGR"):
            raise ValueError("order is RGB or BGR")
        if options is not None and "\0" in options:
            raise ValueError("a zero byte in the options")
        # A grey sample goes to the first byte of a pixel only.
        samples = "B000" if self.components == 1 else order
        return "video=0,%scomp_order=%s,res_level=%d" % (options + "," if options else "", samples, level)

    def _ranges(self, tiles: Union[int, Iterable[int]]) -> List[Tuple[int, int]]:
        """Tile numbers as ranges."""
        count = self.tiles.down * self.tiles.across
        ranges: List[Tuple[int, int]] = []
        for tile in [tiles] if isinstance(tiles, int) else tiles:
            number = int(tile)
            if not 0 <= number < count:
                raise error_of(_BAD_TILE, self._source.name)
            if ranges and ranges[-1][1] == number - 1:
                ranges[-1] = ranges[-1][0], number
            else:
                ranges.append((number, number))
        if not ranges:
            raise ValueError("no tiles")
        return ranges

    def _shape(self, width: int, height: int) -> Shape:
        """The shape of a decoded picture of that size."""
        return Shape(height, width, self.components, 1 if self.precision <= 8 else 2)

    def _picture(self, shape: Shape) -> Picture:
        """New memory, laid out as it is best for the image."""
        room = 4 if self.components == 3 and not self.reversible and _arrays.numpy is not None else 0
        return Picture(shape, room)

    def _decode_tiles(self, handle: Handle, ranges: Any, level: int, text: str, out: Any) -> Any:
        handle.select(ranges)
        shape = self._shape(*handle.size(level))

        def fill(layout: Layout) -> None:
            self._run([lambda: self._decode_piece(handle, ranges, layout, text)], layout)

        return self._deliver(shape, out, fill)

    def _decode_area(self, handle: Handle, region: Any, level: int, text: str, out: Any, threads: int) -> Any:
        width, height = self.size(level)
        left, top, right, bottom = region or (0, 0, width, height)
        if region is not None and not (0 <= left < right <= width and 0 <= top < bottom <= height):
            raise ValueError("the region %s; the picture has %d x %d pixels" % (region, width, height))
        rows, columns = (_Edges(handle, self.tiles, level, columns) for columns in (False, True))
        if region is None:
            area, x, y = Area(0, self.tiles.down, 0, self.tiles.across), 0, 0
            shape = self._shape(width, height)
        else:
            area = Area(*rows.cover(top, bottom), *columns.cover(left, right))
            x, y = columns[area.left], rows[area.top]
            shape = self._shape(columns[area.right] - x, rows[area.bottom] - y)

        def fill(layout: Layout) -> None:
            self._fill_area(layout, area, rows, text, threads)

        crop = (slice(top - y, bottom - y), slice(left - x, right - x))
        return self._deliver(shape, out, fill, crop)

    def _deliver(self, shape: Shape, out: Any, fill: Any, crop: Any = None) -> Any:
        """The array or `out`, filled: with the picture of a shape, or with a part of it. Other modules of this
        package may give a Picture of that shape."""
        wanted = shape
        if crop is not None:
            wanted = shape._replace(height=crop[0].stop - crop[0].start, width=crop[1].stop - crop[1].start)
        if out is None:
            return self._array(self._picture(shape), fill, wanted, crop)
        if isinstance(out, Picture):
            self._array(out, fill, wanted, crop)
            return out
        if not _arrays.is_array(out):
            target = _arrays.bytes_of(out, wanted)
            target[:] = memoryview(self._array(Picture(shape), fill, wanted, crop)).cast("B")
            return out
        view = _arrays.fitting(out, wanted)
        layout = _arrays.layout_of(view, wanted) if wanted == shape and self.precision >= 8 else None
        if layout is None:
            view[...] = self._array(self._picture(shape), fill, wanted, crop)
        else:
            view[...] = 0
            fill(layout)
        return out

    def _array(self, picture: Picture, fill: Any, wanted: Shape, crop: Any) -> Any:
        """The array of a picture, or of a part of it, once it is filled."""
        fill(picture.layout)
        if self.precision < 8:
            picture.lower(self.precision)
        if wanted == picture.shape:
            return picture.array
        return picture.array[crop] if _arrays.numpy is not None else picture.crop(*crop).array

    def _fill_area(self, layout: Layout, area: Area, rows: _Edges, text: str, threads: int) -> None:
        """Decodes whole rows of tiles in pieces: one for each thread, and none beyond what a decode can do."""
        size = abs(layout.row) * layout.shape.height
        count = min(max(threads, -(-size // _LARGEST_PIECE)), area.bottom - area.top)
        tops = [area.top + (area.bottom - area.top) * n // count for n in range(count + 1)]
        edges = [rows[top] for top in tops] if count > 1 else [0, layout.shape.height]
        pieces = [
            (area._replace(top=tops[n], bottom=tops[n + 1]), layout.rows(edges[n] - edges[0], edges[n + 1] - edges[0]))
            for n in range(count)
        ]
        handles = [self._handle(n) for n in range(min(threads, count))]

        def work(number: int) -> None:
            for part, rows_of_part in pieces[number :: len(handles)]:
                self._decode_piece(handles[number], part.ranges(self.tiles.across), rows_of_part, text)

        self._run([lambda number=n: work(number) for n in range(len(handles))], layout)

    def _handle(self, number: int) -> Handle:
        """The handle for a thread; all but the first are opened when they are needed, and stay."""
        while len(self._handles) <= number:
            handle = self._source.open()
            with self._guard:
                self._handles.append(handle)
        return self._handles[number]

    def _decode_piece(self, handle: Handle, ranges: Any, layout: Layout, text: str) -> None:
        handle.select(ranges)
        if self._stopping:
            raise error_of(_CANCELLED, self._source.name)
        layout.decode(handle, text)

    def _run(self, works: Any, layout: Layout) -> None:
        """Runs the works. A signal reaches Python code only, so a long decode that never calls any runs on a
        thread of its own while the main thread waits."""
        samples = layout.shape.height * layout.shape.width * layout.shape.samples
        if len(works) > 1 or (samples >= _LONG_DECODE and on_main_thread() and not self._source.calls_python):
            run_together(works, self._stop)
        else:
            works[0]()


def open(source: "Source") -> Image:
    """Opens an image: a path, bytes-like memory, or a file object for reading bytes.

    Memory is not copied and must not change while the image is open. A file object stands at the start of the
    image; what it raises comes through, and it stays open when the image is closed. One that cannot seek is
    read into memory. The whole source is looked through, but nothing is decoded.

    Errors: UnsupportedError, CorruptError, IncompleteError, NoMemoryError, and OSError for a file that cannot
    be opened.
    """
    return Image(source)


def imread(source: "Source", level: int = 0) -> "Array":
    """The picture at a level as an array of the shape (rows, columns, components); see `Image.decode`."""
    with Image(source) as image:
        return image.decode(level=level)
