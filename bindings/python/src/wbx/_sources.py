"""Where an image comes from: a file, memory or a file object. A source can be opened many times at once."""

import ctypes as ct
import mmap
import os
import threading
from typing import Any, Callable, Optional

from ._library import Callbacks, CloseCallback, Memory, ReadCallback, SeekCallback, i32, lib, u32
from .errors import OPEN_FAILED, error_of, open_error

_NO_CLOSE = ct.cast(0, CloseCallback)
_LARGEST_MEMORY = 2**31 - 1
_PIECE = 2**24  # read() may set aside all that it is asked for


class Handle:
    """A handle of the library and all that must live as long as it. `raised` is what a file object raised
    during the last call."""

    def __init__(self, name: str) -> None:
        self.name = name
        self.pointer: Optional[int] = None
        self.keep: Any = None
        self.raised: Optional[BaseException] = None

    def fail(self, code: int) -> None:
        raised, self.raised = self.raised, None
        if raised is not None:
            raise raised
        raise error_of(code, self.name)

    def check(self, code: int) -> None:
        """Raises what the result of a function calls for."""
        if code != 0 or self.raised is not None:
            self.fail(code)

    def opened(self, pointer: Optional[int]) -> "Handle":
        self.pointer = pointer
        if not pointer:
            self.fail(lib.WBX_getLastError())
        if self.raised is not None:
            self.close()
            self.fail(0)
        return self

    def close(self) -> None:
        pointer, self.pointer = self.pointer, None
        if pointer:
            lib.WBX_Close(pointer)
        self.keep = None

    def resolutions(self) -> int:
        count = i32()
        self.check(lib.WBX_GetResolutions(self.pointer, ct.byref(count)))
        return count.value

    def size(self, level: int) -> Any:
        """(width, height) of the selected tiles at a level."""
        width, height = u32(), u32()
        code = lib.WBX_GetResolutionDimensions(self.pointer, level, ct.byref(width), ct.byref(height))
        self.check(code)
        return width.value, height.value

    def select(self, ranges: Any) -> None:
        """Selects the tiles of the ranges (first, last) and no others."""
        self.check(lib.WBX_SelectTiles(self.pointer, -1, -1, 0))
        for first, last in ranges:
            self.check(lib.WBX_SelectTiles(self.pointer, first, last, 1))

    def select_all(self) -> None:
        self.check(lib.WBX_SelectTiles(self.pointer, -1, -1, 1))


class PathSource:
    """A file that the library opens and reads itself."""

    def __init__(self, path: Any) -> None:
        self._path = os.fsencode(path)
        self.name = os.fsdecode(path)
        self.calls_python = False
        if b"\0" in self._path:
            raise ValueError("a zero byte in the path")

    def open(self) -> Handle:
        handle = Handle(self.name)
        pointer = lib.WBX_OpenFile(self._path)
        if not pointer and lib.WBX_getLastError() == OPEN_FAILED:
            raise open_error(self.name)
        return handle.opened(pointer)

    def read_at(self, offset: int, count: int) -> bytes:
        with open(self._path, "rb") as file:
            file.seek(offset)
            return file.read(count)


class MemorySource:
    """Bytes that stay where they are; nothing is copied."""

    def __init__(self, data: Any) -> None:
        self._data = data
        self._memory = Memory(data)
        self.name = ""
        self.calls_python = False
        if self._memory.size > _LARGEST_MEMORY:
            raise ValueError("more than 2 GiB in memory: open the file by its path")

    def open(self) -> Handle:
        handle = Handle(self.name)
        handle.keep = self._memory
        return handle.opened(lib.WBX_OpenMemory(self._memory.address, self._memory.size))

    def read_at(self, offset: int, count: int) -> bytes:
        return bytes(memoryview(self._data).cast("B")[offset : offset + count])


class FileSource:
    """A file object that can seek; the place where it stands is the start of the image. Handles on several
    threads take turns, each with a position of its own."""

    def __init__(self, file: Any) -> None:
        self._file = file
        self._start = file.tell()
        self._turn = threading.Lock()
        name = getattr(file, "name", "")
        self.name = name if isinstance(name, str) else ""
        self.calls_python = True

    def read_at(self, offset: int, count: int) -> bytes:
        with self._turn:
            self._file.seek(self._start + offset)
            return read_fully(self._file, count)

    def open(self) -> Handle:
        handle = Handle(self.name)
        callbacks = Callbacks(*_callbacks(self.read_at, handle), _NO_CLOSE)
        handle.keep = callbacks
        return handle.opened(lib.WBX_OpenCustom(None, ct.byref(callbacks)))


def _callbacks(read_at: Callable[[int, int], bytes], handle: Handle) -> Any:
    """Seek and read for a handle. No exception may leave a callback: it waits in the handle."""
    position = [0]

    def seek(_user: Any, offset: int) -> int:
        position[0] = offset
        return 0

    def read(buffer: int, count: int, _user: Any) -> int:
        try:
            data = read_at(position[0], count)
            ct.memmove(buffer, data, len(data))
        except BaseException as error:
            handle.raised = error
            return -1
        position[0] += len(data)
        return len(data)

    return SeekCallback(seek), ReadCallback(read)


def read_fully(file: Any, count: int) -> bytes:
    """`count` bytes, fewer at the end of the file only."""
    parts = []
    while count > 0:
        part = file.read(min(count, _PIECE))
        if not isinstance(part, (bytes, bytearray, memoryview)):
            raise TypeError("read() of the file object gave %s, not bytes" % type(part).__name__)
        if len(part) > count:
            raise ValueError("read() of the file object gave more than was asked for")
        if not part:
            break
        parts.append(bytes(part))
        count -= len(part)
    return parts[0] if len(parts) == 1 else b"".join(parts)


def source_of(source: Any) -> Any:
    """The source for what a user gave: a path, bytes-like memory, or a file object open for reading bytes."""
    if isinstance(source, (str, os.PathLike)):
        return PathSource(source)
    if not hasattr(source, "read") or isinstance(source, mmap.mmap):
        return MemorySource(source)
    if hasattr(source, "seekable") and not source.seekable():
        return MemorySource(read_fully(source, _LARGEST_MEMORY + 1))
    return FileSource(source)
