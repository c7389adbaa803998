"""Arrays: what they hold, where they come from, where they go, and what happens when something is wrong."""

import io
import mmap
import os
import pickle
import random
import resource
import signal
import subprocess
import sys
import threading
import time
import zlib

import numpy as np
import pytest

import wbx
from bare import plain_checksum
from wbx._header import read_header


def test_every_file_gives_the_samples_of_the_library(data, accepted):
    for name, (count, bits) in accepted.items():
        with wbx.open(data / name) as image:
            array = image.decode(options="video=2")
            packed = np.empty(array.shape, array.dtype)
            assert image.decode(out=packed, options="video=2") is packed, name
        assert array.shape[2] == count and array.dtype == (np.uint8 if bits <= 8 else np.uint16)
        lift = array.dtype.type(128 - 2**bits // 2 if bits < 8 else 0)
        assert zlib.crc32((packed + lift).tobytes()) == plain_checksum(data / name), name
        step = 0 if image.reversible else 1
        assert packed.size == 0 or np.abs(array.astype(int) - packed).max() <= step, name


def test_every_refused_file_has_its_code_and_class(data, refused):
    for name, code in refused.items():
        for source in (data / name, (data / name).read_bytes(), open(data / name, "rb")):
            with pytest.raises(wbx.Error) as caught:
                wbx.open(source)
            assert caught.value.code == code and str(code) in str(caught.value), name
            kind = {2: MemoryError, 3: wbx.CorruptError, 4: wbx.IncompleteError}.get(code, wbx.UnsupportedError)
            assert isinstance(caught.value, kind), name
    again = pickle.loads(pickle.dumps(caught.value))
    assert type(again) is type(caught.value) and str(again) == str(caught.value)
    with pytest.raises(FileNotFoundError):
        wbx.open(data / "none.jp2")


class Pipe(io.RawIOBase):
    """Cannot seek, and gives a few bytes at a time."""

    def __init__(self, content):
        self._rest = content

    def readable(self):
        return True

    def read(self, count=-1):
        part, self._rest = self._rest[: min(count, 700)], self._rest[min(count, 700) :]
        return part


def test_all_kinds_of_sources(data):
    path = data / "tiles_16.j2k"
    content, expected = path.read_bytes(), wbx.imread(path)
    embedded = io.BytesIO(b"in front" + content)
    embedded.seek(8)
    with open(path, "rb") as file:
        mapped = mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ)
        sources = [str(path), content, bytearray(content), memoryview(content), mapped, file, embedded, Pipe(content)]
        for source in sources:
            with wbx.open(source) as image:
                assert (image.decode(threads=2) == expected).all()
    for bad, error in ((5, TypeError), (io.StringIO("text"), TypeError), ("a\0b", ValueError)):
        with pytest.raises(error):
            wbx.open(bad)


def test_exceptions_of_a_file_object_come_through(data):
    class Failing(io.BytesIO):
        calls, limit = 0, 3

        def read(self, count=-1):
            self.calls += 1
            if self.calls > self.limit:
                raise KeyboardInterrupt("from read")
            return super().read(count)

    file = Failing((data / "grey_photo.j2k").read_bytes())
    with pytest.raises(KeyboardInterrupt, match="from read"):
        wbx.open(file)
    file.seek(0)
    file.limit = 10**6
    image = wbx.open(file)
    file.limit = file.calls
    with pytest.raises(KeyboardInterrupt, match="from read"):
        image.decode()
    file.limit = 10**6
    assert (image.decode() == wbx.imread(data / "grey_photo.j2k")).all()
    file.read = lambda count: image.decode().tobytes()  # from inside a decode: refused, and not a deadlock
    with pytest.raises(RuntimeError):
        image.decode()


@pytest.mark.parametrize("name", ["rgb_plain.j2k", "bits_12_tiles.j2k", "bits_16_rgb.j2k", "bits_4.j2k", "rgba_plain.j2k"])
def test_out_may_be_any_view_and_nothing_else_is_touched(data, name):
    with wbx.open(data / name) as image:
        expected = image.decode()
        height, width, count = expected.shape
        canvas = np.full((2 * height + 3, width + 5, count + 2), 77, image.dtype)
        views = [
            canvas[1 : height + 1, 2 : width + 2, :count],
            canvas[height:0:-1, 2 : width + 2, 1 : count + 1],
            canvas[1 : height + 1, width + 1 : 1 : -1, :count],
            canvas[0 : 2 * height : 2, :width, :count],
            canvas[:height, :width, count - 1 :: -1][..., :count],
        ]
        planes = np.full((count, height, width), 77, image.dtype)
        padded = np.full((height, width, 4), 77, image.dtype)
        for out in [*views, planes.transpose(1, 2, 0), padded[..., :count]]:
            root = out.base if out.base is not None else out
            root[...] = 77
            assert image.decode(out=out) is out
            assert (out == expected).all()
            out[...] = 77
            assert (root == 77).all()
        if count == 1:
            assert (image.decode(out=np.empty((height, width), image.dtype)) == expected[..., 0]).all()
        if count >= 3:
            assert (image.decode(order="BGR")[..., :3] == expected[..., 2::-1]).all()
        frozen = np.zeros_like(expected)
        frozen.flags.writeable = False
        for bad in (frozen, np.zeros((height, width + 1, count), image.dtype), np.zeros(expected.shape, float)):
            with pytest.raises(ValueError):
                image.decode(out=bad)


def test_tiles_regions_and_threads_give_parts_of_the_whole(data, accepted):
    rng = random.Random(1)
    for name in [name for name in accepted if "tiles" in name or "offset" in name]:
        image = wbx.open((data / name).read_bytes())
        for level in range(image.levels):
            whole = image.decode(level=level)
            height, width = whole.shape[:2]
            assert (width, height) == image.size(level)
            assert (image.decode(level=level, threads=3) == whole).all(), name
            for _ in range(8 if whole.size else 0):
                left, right = sorted(rng.sample(range(width + 1), 2))
                top, bottom = sorted(rng.sample(range(height + 1), 2))
                out = np.empty((bottom - top, right - left, image.components), image.dtype)
                part = image.decode(level=level, region=(left, top, right, bottom), threads=rng.choice((1, 2)))
                image.decode(level=level, region=(left, top, right, bottom), out=out)
                assert (part == whole[top:bottom, left:right]).all() and (out == part).all(), name
        down, across = image.tiles
        assert image.decode(tiles=down * across - 1).size < image.decode().size or down * across == 1
        assert (image.decode(tiles=range(across)) == image.decode()[: image.decode(tiles=[0]).shape[0]]).all()
    for bad in ({"tiles": -1}, {"tiles": [2**32]}, {"tiles": []}, {"region": (0, 0, 10**6, 1)}, {"level": 99}, {"level": -1}):
        with pytest.raises(ValueError):
            image.decode(**bad)
    for options in ("no such option", "video=0\0", "é"):
        with pytest.raises(ValueError):
            image.decode(options=options)
    assert (image.decode(options="bpp=1,rl=9,bitmap,co=BGR") == image.decode()).all()


def test_colours_and_metadata(data):
    def facts(name):
        with wbx.open(data / name) as image:
            return image.colour, image.palette, image.opacity

    assert facts("palette.jp2") == ("sRGB", ((0, 0, 0), (255, 0, 0), (0, 255, 0), (0, 0, 255)), None)
    assert facts("channels_premultiplied.jp2") == ("sRGB", None, "premultiplied")
    assert [facts(n)[0] for n in ("ycc.jp2", "icc.jp2", "jp2_grey.jp2", "rgb_plain.j2k")] == ["sYCC", "ICC", "grey", None]
    with wbx.open(data / "metadata.jp2") as image:
        kinds = [type(entry).__name__ for entry in image.metadata]
        assert kinds == ["Xml", "Url", "GeoTiff", "Uuid", "Comment", "BinaryComment", "Xml", "Uuid"]
        assert image.metadata[1].url.endswith("line.tif") and image.metadata[3].data == b"payload"
    with pytest.raises(ValueError, match="closed"):
        image.colour


def test_hostile_headers_are_read_without_harm(data):
    rng = random.Random(2)
    for name in ("palette.jp2", "channels_opacity.jp2", "icc.jp2"):
        content = (data / name).read_bytes()[:400]
        for _ in range(2000):
            bad = bytearray(content)
            for _ in range(rng.randrange(1, 4)):
                bad[rng.randrange(len(bad))] = rng.choice((0, 1, 2, 255, rng.randrange(256)))
            read_header(lambda offset, count: bytes(bad[offset : offset + count]))
    loop = b"\0\0\0\x08free"  # boxes without end
    assert read_header(lambda offset, count: (loop * 2)[:count]).colour == "unknown"


def test_cancel_and_interrupt_stop_a_long_decode(large_file):
    image = wbx.open(large_file)
    for threads in (1, 2):
        timer = threading.Timer(0.05, image.cancel)
        timer.start()
        start = time.monotonic()
        with pytest.raises(wbx.CancelledError):
            while time.monotonic() < start + 20:
                image.decode(threads=threads)
        timer.join()
    image.cancel()
    assert image.decode(level=3).size
    program = "import wbx, sys; image = wbx.open(sys.argv[1]); print('ready', flush=True)\nwhile True: image.decode()"
    child = subprocess.Popen([sys.executable, "-c", program, str(large_file)], stdout=-1, stderr=-1, text=True)
    assert child.stdout.readline() == "ready\n"
    time.sleep(0.1)
    child.send_signal(signal.SIGINT)
    assert "KeyboardInterrupt" in child.communicate(timeout=10)[1]


def test_threads_share_an_image_and_the_lock_is_released(large_file, data):
    image, expected = wbx.open(data / "tiles_16.j2k"), wbx.imread(data / "tiles_16.j2k")
    wrong = []

    def use():
        for _ in range(50):
            if not (image.decode() == expected).all() or image.metadata:
                wrong.append(1)

    threads = [threading.Thread(target=use) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not wrong
    ticks, large = [], wbx.open(large_file)
    decode = threading.Thread(target=large.decode)
    decode.start()
    while decode.is_alive():
        ticks.append(time.sleep(0.001))
    assert len(ticks) > 5


def test_nothing_leaks(data, refused):
    def resident():
        with open("/proc/self/statm") as file:
            return int(file.read().split()[1]) * resource.getpagesize()

    content, bad = (data / "rgb_transform.j2k").read_bytes(), data / "bad_cut_in_packet.j2k"

    def accept():
        with wbx.open(content) as image:
            image.decode()
        wbx.imread(io.BytesIO(content))

    def refuse():
        for source in (bad, io.BytesIO(b"no image")):
            with pytest.raises(wbx.Error):
                wbx.open(source)

    descriptors = len(os.listdir("/proc/self/fd"))
    for work in (accept, refuse):
        for _ in range(300):
            work()
        before = resident()
        for _ in range(1000):
            work()
        assert resident() - before < 400_000
    assert len(os.listdir("/proc/self/fd")) <= descriptors
