import pathlib
import subprocess

import pytest

import wbx
from bare import plain_checksum

ROOT = pathlib.Path(__file__).resolve().parents[3]
DATA = ROOT / "tests" / "data"


@pytest.fixture(scope="session")
def data():
    return DATA


@pytest.fixture(scope="session")
def accepted():
    """(name, components, bits) of every file that the library decodes, both as texts."""
    rows = []
    for path in sorted(DATA.glob("*.j[2p]*")):
        if not path.name.startswith("bad_"):
            with wbx.open(path) as image:
                rows.append((path.name, str(image.components), str(image.precision)))
    assert len(rows) > 60
    return rows


@pytest.fixture(scope="session")
def golden(accepted):
    """Name to the checksum of the samples that the C function gives."""
    return {name: plain_checksum(DATA / name) for name, *_ in accepted}


@pytest.fixture(scope="session")
def refused():
    lines = (DATA / "refused.txt").read_text().splitlines()
    return {line.split()[0]: int(line.split()[1]) for line in lines}


def enlarged(path, width, height, colours=3):
    """A picture of this size, made of mirrored copies of the photograph beside the test files, as PPM."""
    numpy = pytest.importorskip("numpy")
    from PIL import Image

    photo = numpy.asarray(Image.open(DATA / "photo.ppm"))
    strip = numpy.hstack([photo, photo[:, ::-1]])
    block = numpy.vstack([strip, strip[::-1]])
    across, down = -(-width // block.shape[1]), -(-height // block.shape[0])
    picture = numpy.tile(block, (down, across, 1))[:height, :width]
    Image.fromarray(picture if colours == 3 else picture[..., 0].copy()).save(path)
    return path


@pytest.fixture(scope="session")
def large_file(tmp_path_factory):
    """A lossless picture of 2000 x 1600 pixels in tiles of 512, a raw codestream."""
    folder = tmp_path_factory.mktemp("large")
    source, target = enlarged(folder / "large.ppm", 2000, 1600), folder / "large.j2k"
    subprocess.run(["opj_compress", "-i", source, "-o", target, "-t", "512,512"], check=True, stdout=subprocess.DEVNULL)
    return target
