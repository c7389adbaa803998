"""JPEG 2000 Part 1 images as arrays.

    >>> import wbx
    >>> array = wbx.imread("scene.jp2")                  # rows, columns, components
    >>> with wbx.open("scene.jp2") as image:
    ...     small = image.decode(level=2)                # a quarter of the width and height
    ...     corner = image.decode(region=(0, 0, 512, 512))

"""

from . import metadata
from ._image import Image, TileGrid, imread, open
from ._version import __version__
from .errors import (
    ArgumentError,
    CancelledError,
    CorruptError,
    Error,
    IncompleteError,
    NoMemoryError,
    UnsupportedError,
)

__all__ = [
    "ArgumentError",
    "CancelledError",
    "CorruptError",
    "Error",
    "Image",
    "IncompleteError",
    "NoMemoryError",
    "TileGrid",
    "UnsupportedError",
    "__version__",
    "imread",
    "metadata",
    "open",
]
