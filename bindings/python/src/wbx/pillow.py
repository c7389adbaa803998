"""`import wbx.pillow` lets Pillow decode JPEG 2000 files with this library.

    >>> import wbx.pillow
    >>> from PIL import Image
    >>> image = Image.open("scene.jp2")
    >>> image.thumbnail((256, 256))                     # decodes a small resolution

Headers are read by Pillow's own plugin, so mode, size and `info` are what they were; an ICC profile is added to
`info`. What the library refuses, or would show in other colours than Pillow's own plugin, is decoded by that
plugin. New is `draft`, and with it a fast `thumbnail`.
"""

import functools
import io
from typing import Any, Optional, Tuple

from PIL import Image as pil_image
from PIL import ImagePalette, Jpeg2KImagePlugin

from . import errors, metadata
from ._arrays import Picture, numpy
from ._image import Image
from ._image import open as open_image

# Whether files with a palette open in mode P also where Pillow's own plugin shows the numbers of the palette's
# rows as grey values.
palettes = False

_SAMPLES = {"L": 1, "P": 1, "I;16": 1, "LA": 2, "RGB": 3, "RGBA": 4, "CMYK": 4}

_NOT_CONVERTED = (None, "sRGB", "grey", "ICC", "CMYK")

# One white pixel of three components of 16 bits.
_WHITE = bytes.fromhex(
    "ff4fff51002f0000000000010000000100000000000000000000000100000001000000000000000000030f01010f01010f0101ff52000c"
    "00000001000004040001ff5c00044080ff90000a0000000000200001ff93cffc3008013fcffc3008013fcffc3008013fffd9"
)


class Jpeg2KImageFile(Jpeg2KImagePlugin.Jpeg2KImageFile):  # type: ignore[misc]
    """A JPEG 2000 file that is opened by Pillow's plugin and decoded by this library."""

    _wbx: Optional[Image] = None
    _refused = False

    def _open(self) -> None:
        super()._open()
        self._full_size = self._size
        if palettes and self.mode == "L":
            self._use_palette()

    def _use_palette(self) -> None:
        image = self._library_image()
        rows = image.palette if image is not None else None
        mode = {3: "RGB", 4: "RGBA"}.get(len(rows[0])) if rows else None
        if rows and mode and len(rows) <= 256 and all(max(row) < 256 for row in rows):
            self.palette = ImagePalette.raw(mode, b"".join(map(bytes, rows)))
            setattr(self, "_mode" if hasattr(self, "_mode") else "mode", "P")

    def _library_image(self) -> Optional[Image]:
        """The open image, if the library can show it as Pillow's own plugin does."""
        if self._wbx is None and not self._refused:
            self.fp.seek(0)
            try:
                image = open_image(self.fp.read())
            except errors.Error:
                self._refused = True
                return None
            self._refused = not _same_colours(image, self.mode)
            self._wbx = None if self._refused else image
        return self._wbx

    def draft(self, mode: Optional[str], size: Tuple[float, float]) -> Any:
        """Prepares to decode the lowest resolution that is at least as large as `size`."""
        image = self._library_image() if self.tile and not self._reduce and not self.layers else None
        level = 0
        if image is not None and image.palette is None:
            level = image.level_for(int(size[0]), int(size[1]))
        if image is None or level == 0:
            return None
        self._reduce, self._size = level, image.size(level)
        # The last row and column of a resolution may stand for less than a whole pixel.
        return self.mode, (0, 0, self._full_size[0] / 2**level, self._full_size[1] / 2**level)

    def load(self) -> Any:
        image = self._library_image() if self.tile and not self.layers else None
        if image is None or self._reduce >= image.levels:
            return super().load()
        with image:
            loaded = _decode(image, self._reduce, self.mode)
            profiles = [entry.data for entry in image.metadata if isinstance(entry, metadata.IccProfile)]
        if profiles:
            self.info.setdefault("icc_profile", profiles[0])
        self._wbx, self._size, self.im, self.tile = None, loaded.size, loaded.im, []
        self.pyaccess, self.readonly = None, 1
        if getattr(self, "_exclusive_fp", False) and getattr(self, "_close_exclusive_fp_after_loading", True):
            self.fp.close()
        self.fp = None
        return super().load()


def _is_subsampled(image: Image) -> bool:
    return any(step != (1, 1) for step in image.subsampling)


def _same_colours(image: Image, mode: str) -> bool:
    """Whether a decode by the library can give what Pillow's own plugin gives in this mode."""
    if _SAMPLES.get(mode) != image.components or (mode == "I;16") > (image.precision > 8):
        return False
    if numpy is None and (image.precision != 8 or mode == "I;16"):
        return False
    plain = image.colour in _NOT_CONVERTED and image._boxes().in_order
    if _is_subsampled(image):
        return image.components == 3 and (plain or image.precision <= 8)
    return plain


def _decode(image: Image, level: int, mode: str) -> Any:
    """A Pillow image of the samples, in place wherever Pillow stores pixels in the same way."""
    # Pillow takes sub-sampled components to be luminance and chrominance, whatever the file says.
    ycc = _is_subsampled(image)
    stored = "YCbCr" if ycc else "RGBX" if mode == "RGB" else mode
    room = 4 if stored == "RGBX" else image.components
    width, height = image.size(level)
    picture = Picture(image._shape(width, height), room if image.precision <= 8 else 0)
    image.decode(level=level, out=picture, options="nomct" if ycc else None)
    data: Any = picture.flat
    if mode == "I;16":
        data = picture.array << numpy.uint16(16 - image.precision)
    elif image.precision < 8 and mode != "P":
        numpy.left_shift(data, 8 - image.precision, out=numpy.asarray(data))
    elif image.precision > 8:
        data = _to_bytes(picture.array, image.precision, room)
    if stored in ("LA", "YCbCr"):  # stored in pixels of four bytes
        loaded = pil_image.frombytes(stored, (width, height), bytes(data))
        return loaded.convert("RGB") if ycc else loaded
    loaded = pil_image.frombuffer(stored, (width, height), data, "raw", stored, 0, 1)
    if stored == "RGBX":
        loaded.im.setmode("RGB")
    return loaded


def _to_bytes(array: Any, precision: int, room: int) -> Any:
    """Samples of 9 to 16 bits as bytes, rounded."""
    shift = precision - 8
    scaled = array.astype(numpy.uint32) + (1 << (shift - 1)) >> shift
    if not _wraps():
        numpy.minimum(scaled, 255, out=scaled)
    data = numpy.full(array.shape[:2] + (room,), 255, numpy.uint8)
    data[..., : array.shape[2]] = scaled & 255
    return data


@functools.lru_cache(maxsize=None)
def _wraps() -> bool:
    """Whether Pillow's own plugin rounds the largest samples up to 256, which is black in a byte."""
    with Jpeg2KImagePlugin.Jpeg2KImageFile(io.BytesIO(_WHITE)) as white:
        return bool(white.getpixel((0, 0)) == (0, 0, 0))


def register() -> None:
    """Puts the plugin in the place of Pillow's own. Importing this module does so."""
    pil_image.register_open("JPEG2000", Jpeg2KImageFile, Jpeg2KImagePlugin._accept)


register()
