import pathlib
import subprocess

import numpy as np
import pytest
from PIL import Image

import wbx

DATA = pathlib.Path(__file__).resolve().parents[3] / "tests" / "data"


@pytest.fixture(scope="session")
def data():
    return DATA


@pytest.fixture(scope="session")
def accepted():
    """Name to (components, bits) of every file that the library decodes."""
    found = {}
    for path in DATA.glob("*.j[2p]*"):
        if not path.name.startswith("bad_"):
            with wbx.open(path) as image:
                found[path.name] = image.components, image.precision
    assert len(found) > 60
    return found


@pytest.fixture(scope="session")
def refused():
    """Name to code of the others."""
    return {line.split()[0]: int(line.split()[1]) for line in (DATA / "refused.txt").read_text().splitlines()}


@pytest.fixture(scope="session")
def large_file(tmp_path_factory):
    """A lossless picture of 2000 x 1600 pixels in tiles of 512, a raw codestream."""
    source, target = (tmp_path_factory.getbasetemp() / ("large." + ending) for ending in ("ppm", "j2k"))
    photo = np.asarray(Image.open(DATA / "photo.ppm"))
    room = (0, 1600 - photo.shape[0]), (0, 2000 - photo.shape[1]), (0, 0)
    Image.fromarray(np.pad(photo, room, "symmetric")).save(source)
    subprocess.run(["opj_compress", "-i", source, "-o", target, "-t", "512,512"], check=True, stdout=subprocess.DEVNULL)
    return target
