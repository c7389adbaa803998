"""JPEG 2000 pixel data of medical pictures, for pydicom 2 and pydicom 3.

    >>> import wbx.dicom
    >>> wbx.dicom.register()
    >>> array = pydicom.dcmread("slide.dcm").pixel_array

What the library refuses (signed samples, for example, with code 21), or what does not fit the header, raises,
and pydicom goes on to its next handler or plugin.

For pydicom 2 the module itself is a pixel data handler, and the first one after `register`. For pydicom 3
`decode_frame` is a decoder plugin function; with it belong `is_available` and `DECODER_DEPENDENCIES`. There it
comes after the plugins that are there already; `pydicom.pixels.pixel_array(..., decoding_plugin="wbx")` asks for it.
"""

from typing import Any, Dict, Tuple

from . import _arrays
from ._image import Image
from ._image import open as open_image

HANDLER_NAME = "wbx"
DEPENDENCIES = {"numpy": ("https://numpy.org", "NumPy")}

JPEG2000_LOSSLESS = "1.2.840.10008.1.2.4.90"
JPEG2000 = "1.2.840.10008.1.2.4.91"
DECODER_DEPENDENCIES: Dict[str, Tuple[str, ...]] = {JPEG2000_LOSSLESS: ("numpy",), JPEG2000: ("numpy",)}

_CONVERTED = ("YBR_RCT", "YBR_ICT")


def is_available(uid: str = JPEG2000) -> bool:
    """Whether the library can be used for a transfer syntax."""
    return _arrays.numpy is not None and uid in DECODER_DEPENDENCIES


def supports_transfer_syntax(transfer_syntax: str) -> bool:
    """Both JPEG 2000 transfer syntaxes, and no others."""
    return transfer_syntax in DECODER_DEPENDENCIES


def needs_to_convert_to_RGB(dataset: Any) -> bool:
    return False


def should_change_PhotometricInterpretation_to_RGB(dataset: Any) -> bool:
    """A decode undoes the component transform, so what is called YBR_RCT or YBR_ICT comes out as RGB."""
    return dataset.PhotometricInterpretation in _CONVERTED


def _check(image: Image, rows: int, columns: int, samples: int, allocated: int) -> None:
    """ValueError if the frame is not what the header of the dataset says."""
    if (image.height, image.width, image.components) != (rows, columns, samples):
        raise ValueError("a frame of %r where the header says %d x %d, %d" % (image, columns, rows, samples))
    if image.precision > allocated or allocated not in (8, 16):
        raise ValueError("%d bits where the header has room for %d" % (image.precision, allocated))


def get_pixeldata(dataset: Any) -> Any:
    """The samples of all frames as a flat array, for pydicom 2. Raises where another handler should try."""
    from pydicom.encaps import generate_pixel_data_frame
    from pydicom.pixel_data_handlers.util import pixel_dtype

    if dataset.PixelRepresentation != 0:
        raise NotImplementedError("signed samples")
    frames = int(getattr(dataset, "NumberOfFrames", None) or 1)
    shape = frames, dataset.Rows, dataset.Columns, dataset.SamplesPerPixel
    pixels = _arrays.numpy.empty(shape, pixel_dtype(dataset))
    count = 0
    for count, frame in enumerate(generate_pixel_data_frame(dataset.PixelData, frames), 1):
        if count > frames:
            break
        with open_image(frame) as image:
            _check(image, *shape[1:], dataset.BitsAllocated)
            if image.dtype == pixels.dtype:
                image.decode(out=pixels[count - 1])
            else:
                pixels[count - 1] = image.decode()
    if count < frames:
        raise ValueError("%d of %d frames" % (count, frames))
    return pixels.reshape(-1)


def decode_frame(src: bytes, runner: Any) -> bytearray:
    """The samples of a frame, by pixels, for pydicom 3. Raises where another plugin should try."""
    with open_image(src) as image:
        _check(image, runner.rows, runner.columns, runner.samples_per_pixel, runner.bits_allocated)
        if runner.pixel_representation != 0:
            raise NotImplementedError("signed samples")
        pixels = bytearray(image.width * image.height * image.components * image.dtype.itemsize)
        image.decode(out=pixels)
        runner.set_option("bits_allocated", 8 * image.dtype.itemsize)
        if image.components > 1:
            runner.set_option("planar_configuration", 0)
    if runner.photometric_interpretation in _CONVERTED:
        runner.set_option("photometric_interpretation", "RGB")
    return pixels


def register() -> None:
    """Puts the library in front of the handlers (pydicom 2) or among the plugins (pydicom 3)."""
    import sys

    import pydicom

    if int(pydicom.__version__.split(".")[0]) < 3:
        handlers = pydicom.config.pixel_data_handlers
        module = sys.modules[__name__]
        if module not in handlers:
            handlers.insert(0, module)
        return
    from pydicom.pixels import get_decoder

    for uid in DECODER_DEPENDENCIES:
        decoder = get_decoder(uid)
        if "wbx" not in decoder.available_plugins:
            decoder.add_plugin("wbx", (__name__, "decode_frame"))
