import pathlib
import subprocess

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[3]
DATA = ROOT / "tests" / "data"


@pytest.fixture(scope="session")
def data():
    return DATA


@pytest.fixture(scope="session")
def accepted():
    """Rows of accepted.txt: name, area, tile area, components, bits, ..."""
    return [line.split() for line in (DATA / "accepted.txt").read_text().splitlines()]


@pytest.fixture(scope="session")
def golden():
    """Name to the checksum of its samples in the order RGB, with the library's own choice of `video`."""
    lines = (DATA / "golden.txt").read_text().splitlines()[1:]
    return {line.split()[0]: int(line.split()[2], 16) for line in lines}


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
