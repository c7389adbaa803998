"""pydicom with the handler gives the arrays that it gives with Pillow's."""

import types

import numpy as np
import pydicom
import pytest
from pydicom.dataset import Dataset, FileMetaDataset
from pydicom.encaps import encapsulate
from pydicom.pixel_data_handlers import pillow_handler
from pydicom.uid import ExplicitVRLittleEndian, JPEG2000Lossless

import wbx
import wbx.dicom


def dataset(path, frames=2, **changes):
    content = path.read_bytes()
    try:
        with wbx.open(content) as image:
            height, width, components, bits = image.height, image.width, image.components, image.precision
    except wbx.Error:
        height, width, components, bits = 21, 33, 1, 8
    made = Dataset()
    made.file_meta = FileMetaDataset()
    made.file_meta.TransferSyntaxUID = JPEG2000Lossless
    made.Rows, made.Columns, made.SamplesPerPixel, made.NumberOfFrames = height, width, components, frames
    made.BitsAllocated, made.BitsStored, made.HighBit = 8 if bits <= 8 else 16, bits, bits - 1
    made.PixelRepresentation, made.PlanarConfiguration = 0, 0
    made.PhotometricInterpretation = "YBR_RCT" if components == 3 else "MONOCHROME2"
    made.PixelData = encapsulate([content] * frames)
    made["PixelData"].is_undefined_length = True
    made.is_little_endian, made.is_implicit_VR = True, False
    for name, value in changes.items():
        setattr(made, name, value)
    return made


@pytest.mark.parametrize("name", ["grey_photo.j2k", "bits_12_grey.j2k", "bits_16.j2k", "rgb_transform.j2k"])
def test_arrays_are_those_of_the_other_handler(data, name, monkeypatch):
    monkeypatch.setattr(pydicom.config, "pixel_data_handlers", [pillow_handler])
    expected = dataset(data / name).pixel_array
    wbx.dicom.register()
    wbx.dicom.register()
    assert pydicom.config.pixel_data_handlers == [wbx.dicom, pillow_handler]
    monkeypatch.setattr(pillow_handler, "get_pixeldata", lambda _: pytest.fail("the other handler was asked"))
    made = dataset(data / name)
    assert made.pixel_array.dtype == expected.dtype and (made.pixel_array == expected).all()
    wide = dataset(data / "grey_photo.j2k", BitsAllocated=16).pixel_array
    assert wide.dtype == np.uint16 and (wide[1] == wbx.imread(data / "grey_photo.j2k")[..., 0]).all()


def test_what_does_not_fit_goes_to_the_next_handler(data, monkeypatch):
    asked = []
    other = types.SimpleNamespace(**{name: getattr(pillow_handler, name) for name in dir(pillow_handler)})
    other.get_pixeldata = lambda made: asked.append(made) or pillow_handler.get_pixeldata(made)
    monkeypatch.setattr(pydicom.config, "pixel_data_handlers", [wbx.dicom, other])
    assert dataset(data / "bad_signed.j2k", PixelRepresentation=1).pixel_array.shape == (2, 21, 33)
    bad = [dataset(data / "grey_photo.j2k", Rows=71), dataset(data / "grey_photo.j2k", NumberOfFrames=3)]
    for made in [*bad, dataset(data / "bits_12_grey.j2k", BitsAllocated=8)]:
        with pytest.raises(Exception):
            made.pixel_array
    assert len(asked) == 4
    assert not wbx.dicom.supports_transfer_syntax(ExplicitVRLittleEndian)


def test_the_plugin_function_of_pydicom_3(data):
    options = {}
    runner = types.SimpleNamespace(
        rows=37, columns=53, samples_per_pixel=3, bits_allocated=8, pixel_representation=0,
        photometric_interpretation="YBR_RCT", set_option=options.__setitem__,
    )  # fmt: skip
    content = (data / "rgb_transform.j2k").read_bytes()
    assert bytes(wbx.dicom.decode_frame(content, runner)) == wbx.imread(content).tobytes()
    assert options == {"bits_allocated": 8, "planar_configuration": 0, "photometric_interpretation": "RGB"}
    runner.rows = 38
    with pytest.raises(ValueError):
        wbx.dicom.decode_frame(content, runner)
