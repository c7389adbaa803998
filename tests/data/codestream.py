"""Reads and edits just as much of a codestream as the test files need."""
import struct
import zlib

SOC, SOT, SOD, EOC = 0xFF4F, 0xFF90, 0xFF93, 0xFFD9
SIZ, COD, COC, QCD, RGN, COM = 0xFF51, 0xFF52, 0xFF53, 0xFF5C, 0xFF5E, 0xFF64


def main_markers(stream):
    """(marker, offset of the marker, whole segment) of the main header, SOT included as the last one."""
    position = 2
    while True:
        marker, length = struct.unpack('>HH', stream[position:position + 4])
        yield marker, position, stream[position:position + 2 + length]
        if marker == SOT:
            return
        position += 2 + length


def find(stream, wanted):
    """Offset of the first segment of this kind in the main header (SOT ends it)."""
    for marker, position, _ in main_markers(stream):
        if marker == wanted:
            return position
    raise ValueError('no marker %04X' % wanted)


def patched(stream, position, new):
    return stream[:position] + new + stream[position + len(new):]


def inserted(stream, position, new):
    return stream[:position] + new + stream[position:]


def tile_parts(stream):
    """Offset and length of each tile-part."""
    position = find(stream, SOT)
    while struct.unpack('>H', stream[position:position + 2])[0] == SOT:
        length = struct.unpack('>I', stream[position + 6:position + 10])[0] or len(stream) - 2 - position
        yield position, length
        position += length


def facts(stream):
    """What the queries have to say about the image, read from SIZ and COD."""
    siz = find(stream, SIZ)
    x1, y1, x0, y0, tw, th, tx, ty, components = struct.unpack('>8IH', stream[siz + 6:siz + 40])
    samples = [tuple(stream[siz + 40 + 3 * c:siz + 43 + 3 * c]) for c in range(components)]
    cod = find(stream, COD)
    return {'width': x1 - x0, 'height': y1 - y0, 'components': components,
            'precision': max(s[0] & 0x3F for s in samples) + 1,
            'across': -(-(x1 - tx) // tw), 'down': -(-(y1 - ty) // th),
            'levels': stream[cod + 9], 'mct': stream[cod + 8], 'reversible': stream[cod + 13],
            'steps': ':'.join('%dx%d' % s[1:] for s in samples)}


def box(kind, payload):
    return struct.pack('>I4s', 8 + len(payload), kind.encode()) + payload


SIGNATURE = box('jP  ', b'\r\n\x87\n')


def file_type(brand='jp2 ', compatible=('jp2 ',)):
    return box('ftyp', brand.encode() + bytes(4) + b''.join(c.encode() for c in compatible))


def image_header(stream):
    f = facts(stream)
    return box('ihdr', struct.pack('>IIHBBBB', f['height'], f['width'], f['components'], f['precision'] - 1, 7, 0, 0))


def colour(method, value):
    payload = struct.pack('>I', value) if method == 1 else value
    return box('colr', bytes([method, 0, 0]) + payload)


def channels(*entries):
    return box('cdef', struct.pack('>H', len(entries)) + b''.join(struct.pack('>3H', *e) for e in entries))


def jp2(stream, header_boxes=(), boxes=(), trailing=b'', brand='jp2 ', compatible=('jp2 ',)):
    header = box('jp2h', image_header(stream) + b''.join(header_boxes or [colour(1, 16)]))
    return (SIGNATURE + file_type(brand, compatible) + header + b''.join(boxes) + box('jp2c', stream) + trailing)


def crc(data):
    return zlib.crc32(data) & 0xFFFFFFFF
