"""Measures the package against Pillow's own decoder, in turns: bench.py FOLDER [TURNS]

Prints, for each JPEG 2000 file of a folder, the best times of a decode to an array and of a thumbnail of 256
pixels, both from memory, and how many times as fast the package is.
"""

import io
import pathlib
import sys
import time

import numpy as np
from PIL import Image, Jpeg2KImagePlugin

import wbx
import wbx.pillow

OWN = Jpeg2KImagePlugin.Jpeg2KImageFile
OURS = wbx.pillow.Jpeg2KImageFile


def thumbnail(plugin, content):
    with plugin(io.BytesIO(content)) as image:
        if image.mode == "I;16":  # cannot be scaled by Pillow
            image.draft(None, (512, 512))
            return image.load()
        image.thumbnail((256, 256))


def own_array(content):
    with OWN(io.BytesIO(content)) as image:
        return np.asarray(image)


def race(ours, own, turns):
    """The best processor times of all threads, in milliseconds."""
    best = [float("inf")] * 2
    for _ in range(turns):
        for number, work in enumerate((ours, own)):
            start = time.process_time()
            work()
            best[number] = min(best[number], 1000 * (time.process_time() - start))
    return best


def main():
    turns = int(sys.argv[2]) if len(sys.argv) > 2 else 5
    Image.MAX_IMAGE_PIXELS = None
    print("%-16s %-10s %9s %9s %6s" % ("file", "what", "wbx ms", "Pillow ms", "ratio"))
    for path in sorted(pathlib.Path(sys.argv[1]).glob("*.j[2p]*")):
        content = path.read_bytes()
        works = {
            "array": (lambda: wbx.imread(content), lambda: own_array(content)),
            "thumbnail": (lambda: thumbnail(OURS, content), lambda: thumbnail(OWN, content)),
        }
        for what, (ours, own) in works.items():
            times = race(ours, own, turns)
            print("%-16s %-10s %9.1f %9.1f %6.2f" % (path.name, what, *times, times[1] / times[0]), flush=True)


if __name__ == "__main__":
    main()
