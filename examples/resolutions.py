"""Shows all resolutions of a JPEG 2000 picture as a contact sheet: resolutions.py PICTURE SHEET.png"""

# %% The picture, opened once: sizes and colours are known before anything is decoded.
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt

import wbx

picture, sheet = sys.argv[1:3]
image = wbx.open(picture)
print(image, image.colour, "%d levels" % image.levels)

# %% One decode for each level; a level costs about a quarter of the one before.
figure, axes = plt.subplots(1, image.levels, figsize=(3 * image.levels, 3.4), squeeze=False)
for level, axis in enumerate(axes[0]):
    array = image.decode(level=level)
    # Grey without its third dimension; samples of any precision as fractions of white.
    shown = array[..., 0] if image.components < 3 else array[..., :3]
    axis.imshow(shown / (2**image.precision - 1), cmap="gray", vmin=0, vmax=1)
    axis.set_title("level %d: %d x %d" % (level, *image.size(level)))
    axis.set_axis_off()

# %% The sheet.
figure.tight_layout()
figure.savefig(sheet)
image.close()
