"""Shows all resolutions of a JPEG 2000 picture as a contact sheet: resolutions.py PICTURE SHEET.png"""

# %% The picture, opened once: sizes and colours are known before anything is decoded.
import sys
import time

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt

import wbx

picture, sheet = sys.argv[1:3]
image = wbx.open(picture)
print(image, image.colour, "%d levels" % image.levels)

# %% A sheet with room for all levels that have pixels, each in a frame of the picture's shape.
levels = [level for level in range(image.levels) if all(image.size(level))]
across = min(3, len(levels))
down = -(-len(levels) // across)
shape = min(max(image.height / image.width, 0.25), 2)
figure, axes = plt.subplots(down, across, figsize=(4 * across, (4 * shape + 0.4) * down), squeeze=False)
for axis in axes.flat:
    axis.set_axis_off()

# %% One decode for each level; a level costs about a quarter of the one before.
for level, axis in zip(levels, axes.flat):
    start = time.perf_counter()
    array = image.decode(level=level)
    spent = time.perf_counter() - start
    # Grey without its third dimension; samples of any precision as fractions of white.
    shown = array[..., 0] if image.components < 3 else array[..., :3]
    axis.imshow(shown / (2**image.precision - 1), cmap="gray", vmin=0, vmax=1, aspect="auto")
    axis.set_title("level %d: %d x %d, %.1f ms" % (level, *image.size(level), 1000 * spent))

# %% The sheet.
figure.tight_layout()
figure.savefig(sheet)
image.close()
