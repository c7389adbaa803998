"""Comments and boxes of an image, each as an entry of a type of its own."""

import uuid
from typing import Callable, Dict, NamedTuple, Union

from . import _library


class Comment(NamedTuple):
    """A comment of the codestream, Latin-1 text."""

    text: str


class BinaryComment(NamedTuple):
    """A comment of the codestream that is not text."""

    data: bytes


class Xml(NamedTuple):
    """An XML box; its bytes, since XML itself says how it is encoded."""

    data: bytes


class IccProfile(NamedTuple):
    """An ICC profile."""

    data: bytes


class GeoTiff(NamedTuple):
    """A degenerate GeoTIFF file."""

    data: bytes


class Url(NamedTuple):
    """A URL."""

    url: str


class Palette(NamedTuple):
    """The contents of a palette box; `Image.palette` has it in numbers."""

    data: bytes


class Uuid(NamedTuple):
    """A UUID box: the identifier and what belongs to it."""

    id: uuid.UUID
    data: bytes


Entry = Union[Comment, BinaryComment, Xml, IccProfile, GeoTiff, Url, Palette, Uuid]


def entry_of(kind: int, data: bytes) -> Entry:
    """The entry for a kind and the bytes of WBX_GetMetaData."""
    if kind == _library.TEXT:
        return Comment(data.decode("latin-1"))
    if kind == _library.URL:
        return Url(data.rstrip(b"\0").decode("utf-8", "replace"))
    if kind == _library.UUID:
        return Uuid(uuid.UUID(bytes=data[:16]), data[16:])
    plain: Dict[int, Callable[[bytes], Entry]] = {
        _library.GEOTIFF: GeoTiff,
        _library.XML: Xml,
        _library.PALETTE: Palette,
        _library.ICC: IccProfile,
    }
    return plain.get(kind, BinaryComment)(data)
