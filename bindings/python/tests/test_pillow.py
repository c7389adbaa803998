"""The plugin shows what Pillow's own plugin shows, only faster."""

import io
import subprocess

import numpy as np
import pytest
from PIL import Image, Jpeg2KImagePlugin

import wbx
import wbx.pillow


OWN = Jpeg2KImagePlugin.Jpeg2KImageFile


def shown(kind, path, **attributes):
    """(mode, size, samples) or the exception."""
    try:
        with open(path, "rb") as file, kind(file, str(path)) as image:
            for name, value in attributes.items():
                setattr(image, name, value)
            before = image.mode, image.size
            if image.width * image.height > 10**6:  # announced by a damaged header
                return before
            image.load()
            return before, image.mode, image.size, np.asarray(image)
    except Exception as error:
        return error


def test_every_file_looks_as_with_pillow_alone(data, accepted, refused, tmp_path):
    assert Image.OPEN["JPEG2000"][0] is wbx.pillow.Jpeg2KImageFile
    subprocess.run(["opj_compress", "-i", data / "photo.ppm", "-o", tmp_path / "photo.jp2"], check=True, stdout=-3)
    ours = 0
    for path in [data / name for name in [*accepted, *refused]] + [tmp_path / "photo.jp2"]:
        for reduce in (0, 1):
            own = shown(OWN, path, reduce=reduce)
            with_us = shown(wbx.pillow.Jpeg2KImageFile, path, reduce=reduce)
            if isinstance(own, Exception) or len(own) == 2:
                continue
            if path.name == "tiles_tiny.j2k" and reduce:  # Pillow takes a wrong size for its reduced picture
                continue
            assert with_us[:3] == own[:3], path.name
            with_us, own = with_us[3].astype(int), own[3].astype(int)
            try:
                image = wbx.open(path)
            except wbx.Error:
                assert (with_us == own).all(), path.name
                continue
            step = max(1, 2 ** (8 - image.precision)) << (8 if own.max() > 255 and image.precision > 8 else 0)
            assert np.abs(with_us - own).max() <= (0 if image.reversible else 6 * step), path.name
            ours += wbx.pillow._same_colours(image, shown(OWN, path)[1])
    assert ours > len(accepted)  # and not by leaving it all to Pillow


def test_thumbnails_take_a_small_resolution(large_file, tmp_path):
    image = Image.open(large_file)
    image.thumbnail((256, 256))
    with open(large_file, "rb") as file, OWN(file) as own:
        own.thumbnail((256, 256))
        difference = np.asarray(image).astype(int) - np.asarray(own)
        assert image.size == own.size and np.abs(difference).mean() < 3
    again = Image.open(large_file)
    again.draft(None, (500, 400))
    assert again.size == (500, 400) and again.convert("L").size == (500, 400)
    # Cut off, the file is refused; what comes then is what Pillow alone does.
    cut = large_file.read_bytes()[:-1000]
    (tmp_path / "cut.j2k").write_bytes(cut)
    errors = [shown(kind, tmp_path / "cut.j2k") for kind in (OWN, wbx.pillow.Jpeg2KImageFile)]
    assert type(errors[0]) is type(errors[1]) and str(errors[0]) == str(errors[1])


def test_info_palette_layers_and_writing(data, monkeypatch):
    image = Image.open(data / "icc.jp2")
    image.load()
    assert len(image.info["icc_profile"]) == 132
    image.putpixel((0, 0), (1, 2, 3))
    assert image.getpixel((0, 0)) == (1, 2, 3) and image.copy().tobytes() == image.tobytes()
    monkeypatch.setattr(wbx.pillow, "palettes", True)
    palette = Image.open(io.BytesIO((data / "palette.jp2").read_bytes()))
    assert palette.mode == "P" and set(palette.convert("RGB").getdata()) <= {(0, 0, 0), (255, 0, 0), (0, 255, 0), (0, 0, 255)}
    one_layer = [shown(kind, data / "layers_8.j2k", layers=1)[3] for kind in (OWN, wbx.pillow.Jpeg2KImageFile)]
    assert (one_layer[0] == one_layer[1]).all()
