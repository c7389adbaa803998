"""Deterministic source pictures; tests/support/source_picture.cpp holds the same formulas."""
import os

HERE = os.path.dirname(os.path.abspath(__file__))
MASK = 0xFFFFFFFF


def _hash(x, y, c):
    h = (x * 374761393 + y * 668265263 + c * 2246822519) & MASK
    h = ((h ^ (h >> 13)) * 1274126177) & MASK
    return h ^ (h >> 16)


def _photo():
    with open(os.path.join(HERE, 'photo.ppm'), 'rb') as f:
        magic, size, top, pixels = f.read().split(b'\n', 3)
    assert magic == b'P6' and top == b'255'
    width, height = map(int, size.split())
    return width, height, pixels


def _gradient(x, y, c, top):
    t = (x * 3 + y * 2 + c * 37) & 0xFF
    return (255 - t if t > 127 else t) * top // 127


def _text(x, y, c, top):
    if ((x // 3 + c) ^ (y // 5)) & 1:
        return top
    return top // 2 if (x + y) % 7 == 0 else 0


def _photo_sample(x, y, c, precision):
    width, height, pixels = _photo.cache
    v = pixels[((y % height) * width + x % width) * 3 + c % 3]
    v = 255 - v if c > 2 else v
    if precision <= 8:
        return v >> (8 - precision)
    return v << (precision - 8) | v >> (16 - precision)


_photo.cache = None


def sample(kind, x, y, c, precision):
    """Sample (x, y) of component c, counted in the component's own samples from its top left corner."""
    top = (1 << precision) - 1
    if kind == 'gradient':
        return _gradient(x, y, c, top)
    if kind == 'noise':
        return _hash(x, y, c) & top
    if kind == 'extremes':
        return top if _hash(x, y, c) & 64 else 0
    if kind == 'text':
        return _text(x, y, c, top)
    if kind == 'flat':
        return top // 3
    if kind == 'photo':
        if _photo.cache is None:
            _photo.cache = _photo()
        return _photo_sample(x, y, c, precision)
    raise ValueError(kind)


def raw(kind, planes, precision, carrier):
    """The planes, a list of (width, height), one behind the other, as samples of carrier bits whose distance from
    the middle is that of the picture's own; words are little-endian."""
    size = 1 if carrier <= 8 else 2
    moved = (1 << (carrier - 1)) - (1 << (precision - 1))
    out = bytearray()
    for c, (width, height) in enumerate(planes):
        for y in range(height):
            for x in range(width):
                out += (sample(kind, x, y, c, precision) + moved).to_bytes(size, 'little')
    return bytes(out)
