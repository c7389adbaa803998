"""The C functions of wbx.h, declared for ctypes, which lets go of the interpreter lock in each call."""

import ctypes as ct
import ctypes.util
import os
from typing import Any

i32, u32, pointer = ct.c_int32, ct.c_uint32, ct.c_void_p

SONAME = "libwbx-codec.so.1"
JP2_FILE, REVERSIBLE = 1, 2  # flags of ImageInfo

# Kinds of metadata.
TEXT, BINARY, GEOTIFF, XML, URL, PALETTE, ICC, UUID = range(8)


class ImageInfo(ct.Structure):
    """WBX_ImageInfoEx"""

    _fields_ = [
        (name, u32)
        for name in (
            "version", "width", "height", "components", "flags", "tiles_across", "tiles_down", "precision",
        )
    ]
    version: int
    width: int
    height: int
    components: int
    flags: int
    tiles_across: int
    tiles_down: int
    precision: int


SeekCallback = ct.CFUNCTYPE(i32, pointer, u32)
ReadCallback = ct.CFUNCTYPE(i32, pointer, u32, pointer)
CloseCallback = ct.CFUNCTYPE(None, pointer)


class Callbacks(ct.Structure):
    """CustomCallbacks"""

    _fields_ = [("seek", SeekCallback), ("read", ReadCallback), ("close", CloseCallback)]


_FUNCTIONS = {
    "WBX_getErrorStr": (ct.c_char_p, i32),
    "WBX_getLastError": (i32,),
    "WBX_getVersion": (u32,),
    "WBX_OpenFile": (pointer, ct.c_char_p),
    "WBX_OpenMemory": (pointer, pointer, i32),
    "WBX_OpenCustom": (pointer, pointer, ct.POINTER(Callbacks)),
    "WBX_Close": (i32, pointer),
    "WBX_GetInfoEx": (i32, pointer, ct.POINTER(ImageInfo)),
    "WBX_GetResolutions": (i32, pointer, ct.POINTER(i32)),
    "WBX_GetResolutionDimensions": (i32, pointer, i32, ct.POINTER(u32), ct.POINTER(u32)),
    "WBX_SelectTiles": (i32, pointer, i32, i32, i32),
    "WBX_GetMetaData": (
        i32, pointer, ct.POINTER(i32), ct.POINTER(u32), ct.POINTER(pointer), ct.POINTER(u32),
    ),
    "WBX_Decode": (i32, pointer, ct.POINTER(pointer), ct.POINTER(u32), ct.c_char_p, ct.POINTER(u32)),
    "WBX_Cancel": (None, pointer),
}  # fmt: skip


def _load() -> Any:
    """The library inside the package, or else the one of the system."""
    inside = os.path.join(os.path.dirname(os.path.abspath(__file__)), SONAME)
    library = ct.CDLL(inside if os.path.exists(inside) else ctypes.util.find_library("wbx-codec") or SONAME)
    for name, (result, *arguments) in _FUNCTIONS.items():
        function = getattr(library, name)
        function.restype, function.argtypes = result, arguments
    return library


lib = _load()


class _Buffer(ct.Structure):
    """Py_buffer"""

    _fields_ = [
        ("buf", pointer), ("obj", pointer), ("len", ct.c_ssize_t), ("itemsize", ct.c_ssize_t),
        ("readonly", ct.c_int), ("ndim", ct.c_int), ("format", ct.c_char_p), ("shape", pointer),
        ("strides", pointer), ("suboffsets", pointer), ("internal", pointer),
    ]  # fmt: skip


_get_buffer = ct.pythonapi.PyObject_GetBuffer
_get_buffer.argtypes = [ct.py_object, ct.POINTER(_Buffer), ct.c_int]
_release_buffer = ct.pythonapi.PyBuffer_Release
_release_buffer.argtypes, _release_buffer.restype = [ct.POINTER(_Buffer)], None


class Memory:
    """The memory of a bytes-like object, which is held in place for as long as this lives."""

    def __init__(self, owner: Any, writable: bool = False) -> None:
        self._view = None
        view = _Buffer()
        _get_buffer(owner, ct.byref(view), int(writable))
        self._view = view
        self.address: int = view.buf or 0
        self.size: int = view.len

    def __del__(self) -> None:
        if self._view is not None:
            _release_buffer(ct.byref(self._view))
