"""What can go wrong, as a small tree of exceptions.

    Error                    anything that the library reports; has `code` and `text`
      UnsupportedError       a JPEG 2000 image, as far as one can tell, that the library does not decode
      CorruptError           the image is damaged, or is none
      IncompleteError        the source ends where more was needed, or failed
      CancelledError         `cancel` stopped the decode
      NoMemoryError          also a MemoryError
      ArgumentError          also a ValueError

A file that cannot be opened is the OSError that Python's own open() raises for it. What a file object raises
comes through unchanged.
"""

import errno
import os
from typing import Tuple, Type

from ._library import lib

OPEN_FAILED = 7


class Error(Exception):
    """A failure of the library: `code` is its number (WBX_Error in wbx.h), `text` its text, `source` the name
    of the image's source or an empty text."""

    def __init__(self, code: int, source: str = "") -> None:
        self.code = code
        self.text: str = lib.WBX_getErrorStr(code).decode("ascii")
        self.source = source
        super().__init__(code, source)

    def __str__(self) -> str:
        return "%s%s (code %d)" % (self.source and self.source + ": ", self.text, self.code)

    def __reduce__(self) -> Tuple[Type["Error"], Tuple[int, str]]:
        return type(self), (self.code, self.source)


class UnsupportedError(Error):
    """The image needs something that the library does not do: codes 13 to 26."""


class CorruptError(Error):
    """The image is damaged or no JPEG 2000 image: code 3."""


class IncompleteError(Error):
    """The source ended, or could not be read, where more was needed: code 4."""


class CancelledError(Error):
    """A decode was stopped by `Image.cancel`: code 6."""


class NoMemoryError(Error, MemoryError):
    """No memory at open or at decode, or an image that would need an absurd amount: code 2."""


class ArgumentError(Error, ValueError):
    """An argument of no use: codes 5 and 8 to 12."""


_CLASSES = {2: NoMemoryError, 3: CorruptError, 4: IncompleteError, 5: ArgumentError, 6: CancelledError}
_CLASSES.update({code: ArgumentError for code in range(8, 13)})
_CLASSES.update({code: UnsupportedError for code in range(13, 27)})


def error_of(code: int, source: str = "") -> Error:
    """The exception for a code."""
    return _CLASSES.get(code, Error)(code, source)


def open_error(path: str) -> OSError:
    """Why a file cannot be opened, as Python's open() tells it."""
    try:
        with open(path, "rb"):
            return OSError(errno.EIO, os.strerror(errno.EIO), path)
    except OSError as error:
        return error
