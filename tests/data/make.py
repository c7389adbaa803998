#!/usr/bin/env python3
"""Makes the JPEG 2000 files of this folder, and the lists that say what they are:

accepted.txt  file, image rectangle, tile origin and size, components, bits, decomposition levels, colour transform,
              1 for the 5-3 filter, 1 for JP2, sub-sampling, source picture, and how the output follows from it:
              lossless (exactly), blue_first (exactly, channel order turned), ycc (colours converted), lossy
refused.txt   file and the error code that it deserves
metadata.txt  file, kind, length and CRC-32 of each metadata entry, in the order of the file

Run it in a Debian 12 machine with the packages libopenjp2-tools (opj_compress 2.5.0) and grokj2k-tools
(grk_compress 10.0.5). It writes the files beside itself; other versions of the encoders may give other bytes.
The checksums of golden.txt come from golden.py.
"""
import os
import re
import struct
import subprocess
import sys
import tempfile

import pictures
from codestream import (COD, COM, QCD, SIGNATURE, SIZ, SOT, box, channels, colour, crc, facts, file_type,
                        find, inserted, jp2, main_markers, patched, tile_parts)

HERE = os.path.dirname(os.path.abspath(__file__))
ENCODERS = {'opj': 'opj_compress', 'grk': 'grk_compress'}
# The precisions that the encoders take as raw samples. One in between is encoded in the next of these, its samples
# moved so that the level shift leaves the same numbers, and SIZ is told the true precision afterwards.
CARRIERS = (8, 10, 12, 14, 16)

# name, picture, width, height, components, bits, encoder arguments[, sub-sampling]
ENCODED = [
    # components, colour transform, sizes
    ('grey_noise', 'noise', 33, 21, 1, 8, '-n 4'),
    ('grey_photo', 'photo', 96, 72, 1, 8, ''),
    ('grey_extremes', 'extremes', 40, 30, 1, 8, '-n 5'),
    ('grey_text', 'text', 64, 48, 1, 8, '-n 3'),
    ('grey_1x1', 'noise', 1, 1, 1, 8, '-n 1'),
    ('grey_1x40', 'gradient', 1, 40, 1, 8, '-n 1'),
    ('grey_40x1', 'gradient', 40, 1, 1, 8, '-n 1'),
    ('grey_2x3', 'extremes', 2, 3, 1, 8, '-n 2'),
    ('grey_levels0', 'gradient', 33, 21, 1, 8, '-n 1'),
    ('grey_levels1', 'gradient', 33, 21, 1, 8, '-n 2'),
    ('grey_levels6', 'photo', 70, 69, 1, 8, '-n 7'),
    ('grey_flat', 'flat', 32, 32, 1, 8, '-n 3'),
    ('two_components', 'gradient', 31, 17, 2, 8, '-n 4'),
    ('rgb_transform', 'photo', 53, 37, 3, 8, '-n 4'),
    ('rgb_plain', 'photo', 53, 37, 3, 8, '-n 4 -mct 0'),
    ('rgb_extremes', 'extremes', 31, 23, 3, 8, '-n 3'),
    ('rgb_noise', 'noise', 24, 18, 3, 8, '-n 3'),
    ('rgba_transform', 'photo', 37, 29, 4, 8, '-n 3 -mct 1'),
    ('rgba_plain', 'noise', 21, 17, 4, 8, '-n 3 -mct 0'),
    # sub-sampled chroma
    ('chroma_422', 'gradient', 48, 32, 3, 8, '-n 4 -mct 0', '1x1:2x1:2x1'),
    ('chroma_420', 'gradient', 48, 32, 3, 8, '-n 4 -mct 0', '1x1:2x2:2x2'),
    ('chroma_440', 'noise', 20, 16, 3, 8, '-n 3 -mct 0', '1x1:1x2:1x2'),
    ('chroma_422_tiles', 'gradient', 64, 48, 3, 8, '-n 3 -mct 0 -t 32,32', '1x1:2x1:2x1'),
    ('chroma_420_tiles', 'noise', 40, 24, 3, 8, '-n 2 -mct 0 -t 16,16', '1x1:2x2:2x2'),
    ('half_width_pair', 'gradient', 32, 24, 2, 8, '-n 3', '1x1:2x1'),
    # offsets and tiles
    ('offset_odd', 'photo', 41, 35, 1, 8, '-n 4 -d 3,5'),
    ('offset_rgb', 'photo', 30, 35, 3, 8, '-n 4 -d 7,2'),
    ('tiles_16', 'photo', 50, 35, 3, 8, '-n 3 -t 16,16'),
    ('tiles_offset', 'photo', 47, 39, 1, 8, '-n 3 -t 17,13 -T 2,3 -d 5,9'),
    ('tiles_one_wide', 'noise', 33, 9, 1, 8, '-n 2 -t 16,9'),
    ('tiles_one_high', 'noise', 9, 33, 1, 8, '-n 2 -t 9,16'),
    ('tiles_one_wide_odd', 'noise', 34, 9, 1, 8, '-n 2 -t 17,9 -T 0,0'),
    ('tiles_odd_column', 'extremes', 17, 11, 1, 8, '-n 3 -t 8,8 -T 3,3 -d 10,10'),
    ('tiles_odd_column_rgb', 'extremes', 17, 11, 3, 8, '-n 3 -t 8,8 -T 3,3 -d 10,10'),
    ('tiles_tiny', 'noise', 21, 15, 1, 8, '-n 2 -t 3,3 -T 1,1 -d 1,1'),
    ('tiles_1x1', 'noise', 6, 5, 1, 8, '-n 1 -t 1,1'),
    # progressions, layers, precincts
    ('order_lrcp', 'photo', 48, 40, 3, 8, '-n 4 -p LRCP -r 20,5,1'),
    ('order_rlcp', 'photo', 48, 40, 3, 8, '-n 4 -p RLCP -r 20,5,1'),
    ('order_rpcl', 'photo', 48, 40, 3, 8, '-n 4 -p RPCL -r 20,5,1 -c [16,16],[8,8]'),
    ('order_pcrl', 'photo', 48, 40, 3, 8, '-n 4 -p PCRL -r 20,5,1 -c [16,16],[8,8]'),
    ('order_cprl', 'photo', 48, 40, 3, 8, '-n 4 -p CPRL -r 20,5,1 -c [16,16],[8,8]'),
    ('order_rpcl_offset', 'photo', 61, 45, 3, 8, '-n 3 -p RPCL -c [16,8] -d 5,3 -b 8,8'),
    ('order_pcrl_offset', 'photo', 61, 45, 3, 8, '-n 3 -p PCRL -c [16,8] -d 5,3 -b 8,8'),
    ('order_cprl_offset', 'photo', 61, 45, 3, 8, '-n 3 -p CPRL -c [16,8] -d 5,3 -b 8,8'),
    ('order_rpcl_420', 'gradient', 48, 32, 3, 8, '-n 3 -mct 0 -p RPCL -c [16,16]', '1x1:2x2:2x2'),
    ('order_pcrl_420', 'gradient', 48, 32, 3, 8, '-n 3 -mct 0 -p PCRL -c [16,16]', '1x1:2x2:2x2'),
    ('order_cprl_420', 'gradient', 48, 32, 3, 8, '-n 3 -mct 0 -p CPRL -c [16,16]', '1x1:2x2:2x2'),
    ('order_pcrl_tiles', 'photo', 50, 41, 3, 8, '-n 3 -p PCRL -c [16,16] -t 32,32 -d 1,2'),
    ('layers_8', 'photo', 56, 48, 1, 8, '-n 4 -r 60,40,20,15,10,6,3,1'),
    ('layers_30', 'photo', 40, 40, 1, 8, '-n 3 -r ' + ','.join(str(r) for r in range(30, 0, -1))),
    ('precincts_small', 'noise', 30, 26, 1, 8, '-n 3 -c [8,8],[4,4],[2,2] -b 4,4'),
    ('precincts_mixed', 'photo', 64, 48, 1, 8, '-n 4 -c [64,16],[16,32],[8,8]'),
    # code blocks and their modes
    ('block_4x4', 'photo', 40, 36, 1, 8, '-n 3 -b 4,4'),
    ('block_128x32', 'noise', 150, 34, 1, 8, '-n 1 -b 128,32'),
    ('block_64x64', 'extremes', 66, 65, 1, 8, '-n 1 -b 64,64'),
    ('block_4x64', 'photo', 30, 70, 1, 8, '-n 2 -b 4,64'),
    ('block_128x4', 'photo', 96, 40, 1, 8, '-n 1 -b 128,4'),
    ('mode_reset', 'photo', 40, 33, 1, 8, '-n 3 -M 2'),
    ('mode_termall', 'photo', 40, 33, 1, 8, '-n 3 -M 4'),
    ('mode_pterm', 'photo', 40, 33, 1, 8, '-n 3 -M 16'),
    ('mode_segsym', 'photo', 40, 33, 1, 8, '-n 3 -M 32'),
    ('mode_reset_termall', 'photo', 40, 33, 1, 8, '-n 3 -M 6'),
    ('mode_termall_pterm', 'noise', 20, 17, 1, 8, '-n 2 -M 20'),
    ('mode_reset_segsym', 'photo', 40, 33, 3, 8, '-n 3 -M 34'),
    ('mode_all', 'photo', 40, 33, 3, 8, '-n 3 -M 54 -b 16,16'),
    ('mode_termall_layers', 'photo', 48, 33, 1, 8, '-n 3 -M 4 -r 20,8,2,1'),
    ('mode_all_layers', 'photo', 48, 33, 1, 8, '-n 3 -M 54 -r 20,8,2,1'),
    # marker segments within and around packets
    ('sop', 'photo', 40, 33, 3, 8, '-n 3 -SOP'),
    ('eph', 'photo', 40, 33, 3, 8, '-n 3 -EPH'),
    ('sop_eph_layers', 'photo', 40, 33, 3, 8, '-n 3 -SOP -EPH -r 10,1 -c [16,16]'),
    ('roi', 'photo', 40, 33, 3, 8, '-n 3 -mct 0 -ROI c=1,U=7'),
    ('roi_grey', 'photo', 40, 33, 1, 8, '-n 3 -ROI c=0,U=12'),
    ('parts_resolution', 'photo', 50, 35, 3, 8, '-n 3 -t 32,32 -TP R'),
    ('parts_layer', 'photo', 50, 35, 3, 8, '-n 3 -t 32,32 -TP L -r 10,5,1'),
    ('parts_component', 'photo', 50, 35, 3, 8, '-n 3 -t 32,32 -TP C -p CPRL'),
    ('parts_plt_tlm', 'photo', 50, 35, 1, 8, '-n 3 -t 32,32 -TP R -PLT -TLM'),
    # precisions
    ('bits_1', 'text', 29, 23, 1, 1, '-n 3'),
    ('bits_2', 'noise', 29, 23, 1, 2, '-n 3'),
    ('bits_3', 'gradient', 29, 23, 3, 3, '-n 3'),
    ('bits_4', 'noise', 29, 23, 1, 4, '-n 3'),
    ('bits_5', 'photo', 29, 23, 3, 5, '-n 3'),
    ('bits_6', 'photo', 29, 23, 3, 6, '-n 3 -mct 0'),
    ('bits_7', 'extremes', 29, 23, 1, 7, '-n 3'),
    ('bits_9', 'gradient', 29, 23, 1, 9, '-n 3'),
    ('bits_10', 'photo', 29, 23, 3, 10, '-n 3'),
    ('bits_12', 'gradient', 37, 29, 3, 12, '-n 4'),
    ('bits_12_grey', 'noise', 29, 23, 1, 12, '-n 4'),
    ('bits_14', 'photo', 29, 23, 2, 14, '-n 3'),
    ('bits_16', 'gradient', 37, 29, 1, 16, '-n 5'),
    ('bits_16_rgb', 'extremes', 19, 17, 3, 16, '-n 3'),
    ('bits_16_rgba', 'gradient', 23, 19, 4, 16, '-n 3 -mct 0'),
    ('bits_16_rgba_transform', 'extremes', 13, 11, 4, 16, '-n 2 -mct 1'),
    ('bits_12_422', 'gradient', 32, 24, 3, 12, '-n 3 -mct 0', '1x1:2x1:2x1'),
    ('bits_12_420', 'gradient', 32, 24, 3, 12, '-n 3 -mct 0', '1x1:2x2:2x2'),
    ('bits_12_tiles', 'photo', 47, 39, 1, 12, '-n 3 -t 17,13 -T 2,3 -d 5,9'),
    ('bits_16_tiles_odd', 'extremes', 17, 11, 1, 16, '-n 3 -t 8,8 -T 3,3 -d 10,10'),
    # the other encoder
    ('grk_grey', 'photo', 65, 43, 1, 8, '@-n 5'),
    ('grk_rgb', 'photo', 53, 37, 3, 8, '@-n 4'),
    ('grk_rgba', 'photo', 37, 29, 4, 8, '@-n 3'),
    ('grk_tiles_parts', 'photo', 50, 35, 3, 8, '@-n 3 -t 32,32 -u R -L'),
    ('grk_modes', 'photo', 40, 33, 3, 8, '@-n 3 -M 54 -S -E'),
    ('grk_rpcl', 'photo', 61, 45, 3, 8, '@-n 3 -p RPCL -c [32,32],[16,16] -r 10,3,1'),
    ('grk_pcrl', 'photo', 61, 45, 3, 8, '@-n 3 -p PCRL -c [32,32],[16,16] -r 10,3,1'),
    ('grk_cprl', 'photo', 61, 45, 3, 8, '@-n 3 -p CPRL -c [32,32],[16,16] -r 10,3,1'),
    ('grk_12', 'gradient', 37, 29, 3, 12, '@-n 4'),
    ('grk_16', 'noise', 17, 13, 1, 16, '@-n 3'),
    ('levels_23', 'photo', 40, 33, 1, 8, '@-n 24'),
    # 9-7
    ('irr_grey', 'photo', 70, 51, 1, 8, '-n 5 -I'),
    ('irr_rgb', 'photo', 53, 37, 3, 8, '-n 4 -I'),
    ('irr_rgb_plain', 'photo', 53, 37, 3, 8, '-n 4 -I -mct 0'),
    ('irr_rgba', 'photo', 37, 29, 4, 8, '-n 3 -I -mct 1'),
    ('irr_rate10', 'photo', 96, 72, 3, 8, '-n 6 -I -r 10'),
    ('irr_layers', 'photo', 96, 72, 3, 8, '-n 5 -I -r 40,20,5 -p RPCL -c [32,32]'),
    ('irr_tiles', 'photo', 47, 33, 3, 8, '-n 3 -I -t 17,13 -T 2,3 -d 5,9'),
    ('irr_narrow', 'noise', 17, 11, 1, 8, '-n 3 -I -t 8,8 -T 3,3 -d 10,10'),
    ('irr_420', 'gradient', 48, 32, 3, 8, '-n 4 -I -mct 0', '1x1:2x2:2x2'),
    ('irr_422', 'gradient', 48, 32, 3, 8, '-n 4 -I -mct 0', '1x1:2x1:2x1'),
    ('irr_levels0', 'gradient', 20, 15, 1, 8, '-n 1 -I'),
    ('irr_roi', 'photo', 40, 33, 1, 8, '-n 3 -I -ROI c=0,U=8'),
    ('irr_bits_4', 'gradient', 29, 23, 1, 4, '-n 3 -I'),
    ('irr_bits_10', 'photo', 37, 29, 3, 10, '-n 4 -I'),
    ('irr_bits_12', 'photo', 53, 37, 3, 12, '-n 4 -I -r 2'),
    ('irr_bits_12_plain', 'photo', 37, 29, 3, 12, '-n 4 -I -mct 0'),
    ('irr_bits_16', 'gradient', 37, 29, 1, 16, '-n 4 -I'),
    ('irr_bits_16_extremes', 'extremes', 21, 17, 3, 16, '-n 3 -I'),
    ('irr_bits_12_tiles', 'photo', 47, 33, 1, 12, '-n 3 -I -t 17,13 -T 2,3 -d 5,9'),
    ('irr_bits_12_422', 'gradient', 32, 24, 3, 12, '-n 3 -I -mct 0', '1x1:2x1:2x1'),
    ('grk_irr_rgb', 'photo', 53, 37, 3, 8, '@-n 4 -I'),
    ('grk_irr_12', 'photo', 53, 37, 3, 12, '@-n 4 -I'),
]

# Encoded like the others, but for features that a decoder of Part 1 subsets declines; the code is expected.
ENCODED_REFUSED = [
    ('bypass', 17, 'photo', 40, 33, 1, 8, '-n 3 -M 1'),
    ('causal', 18, 'photo', 40, 33, 1, 8, '-n 3 -M 8'),
    ('bypass_and_causal', 17, 'photo', 40, 33, 1, 8, '-n 3 -M 9'),
    ('levels_24', 15, 'photo', 40, 33, 1, 8, '@-n 25'),
    ('levels_32', 15, 'photo', 40, 33, 1, 8, '@-n 33'),
    ('block_256x16', 16, 'gradient', 20, 18, 1, 8, '-n 1 -b 256,16'),
    ('block_1024x4', 16, 'gradient', 20, 18, 1, 8, '-n 1 -b 1024,4'),
    ('block_32x128', 16, 'gradient', 20, 18, 1, 8, '-n 1 -b 32,128'),
    ('block_4x1024', 16, 'gradient', 20, 18, 1, 8, '-n 1 -b 4,1024'),
    ('components_5', 19, 'gradient', 20, 18, 5, 8, '-n 1 -mct 0'),
    ('progression_change', 24, 'photo', 40, 33, 1, 8, '-n 3 -POC T1=0,0,1,2,1,RPCL/T1=2,0,1,3,1,LRCP'),
    ('step_4', 22, 'gradient', 32, 32, 3, 8, '-n 2 -mct 0', '1x1:4x4:4x4'),
    ('step_3_vertical', 22, 'gradient', 30, 30, 2, 8, '-n 2', '1x1:1x3'),
    ('first_component_half', 22, 'gradient', 32, 32, 3, 8, '-n 2 -mct 0', '2x2:1x1:1x1'),
]


def planes(width, height, components, steps):
    pairs = [tuple(map(int, s.split('x'))) for s in (steps or ':'.join(['1x1'] * components)).split(':')]
    return [(-(-width // dx), -(-height // dy)) for dx, dy in pairs]


def encode(folder, name, kind, width, height, components, bits, arguments, steps=None):
    encoder = 'opj'
    if arguments.startswith('@'):
        encoder, arguments = 'grk', arguments[1:]
    carrier = next(b for b in CARRIERS if b >= bits)
    source = os.path.join(folder, name + ('.rawl' if carrier > 8 else '.raw'))
    target = os.path.join(folder, name + '.j2k')
    with open(source, 'wb') as f:
        f.write(pictures.raw(kind, planes(width, height, components, steps), bits, carrier))
    form = '%d,%d,%d,%d,u@%s' % (width, height, components, carrier, steps or ':'.join(['1x1'] * components))
    command = [ENCODERS[encoder], '-i', source, '-o', target, '-F', form] + arguments.split()
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode or not os.path.exists(target):
        sys.exit('%s: %s\n%s' % (name, ' '.join(command), done.stdout))
    with open(target, 'rb') as f:
        stream = without_comments(f.read())
    for c in range(components):
        stream = patched(stream, find(stream, SIZ) + 40 + 3 * c, bytes([bits - 1]))
    return with_steps_for(stream, carrier - bits) if '-I' in arguments.split() else stream


def with_steps_for(stream, fewer_bits):
    """Irreversible step sizes count from the precision: smaller exponents and as many more guard bits keep both the
    steps and the bit planes as they were."""
    position = find(stream, QCD)
    length, style = struct.unpack('>HB', stream[position + 2:position + 5])
    steps = struct.unpack('>%dH' % ((length - 3) // 2), stream[position + 5:position + 2 + length])
    moved = struct.pack('>B%dH' % len(steps), style + (fewer_bits << 5), *(s - (fewer_bits << 11) for s in steps))
    return patched(stream, position + 4, moved)


def without_comments(stream):
    """The encoders' own COM segments say nothing that a test looks at."""
    for marker, position, segment in main_markers(stream):
        if marker == COM:
            return without_comments(stream[:position] + stream[position + len(segment):])
    return stream


def is_lossless(arguments):
    return '-I' not in arguments.split() and not re.search(r'-r \S*[^,1\s]$', arguments)


class Folder:
    """Writes the files and gathers the lines of both lists."""

    def __init__(self):
        self.accepted, self.refused, self.metadata = [], [], []

    def put(self, name, data):
        with open(os.path.join(HERE, name), 'wb') as f:
            f.write(data)

    def accept(self, name, data, stream, picture, kind, jp2_file=False, entries=()):
        self.put(name, data)
        f = facts(stream)
        self.accepted.append('%s %d,%d,%d,%d %d,%d,%d,%d %d %d %d %d %d %d %s %s %s' % (
            name, *f['image'], *f['tile'], f['components'], f['precision'], f['levels'], f['mct'], f['reversible'],
            jp2_file, f['steps'], picture, kind))
        for kind, content in entries:
            self.metadata.append('%s %d %d %08x' % (name, kind, len(content), crc(content)))

    def refuse(self, name, code, data):
        self.put(name, data)
        self.refused.append('%s %d' % (name, code))


def com(text, registration=1):
    payload = struct.pack('>H', registration) + text
    return struct.pack('>HH', COM, 2 + len(payload)) + payload


GEOTIFF = bytes.fromhex('b14bf8bd083d4b43a5ae8cd7d5a6ce03')
OTHER_UUID = bytes(range(0x40, 0x50))
PALETTE = struct.pack('>HBBBB', 4, 3, 7, 7, 7) + bytes([0, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255])
CMAP = box('cmap', bytes([0, 0, 1, 0, 0, 0, 1, 1, 0, 0, 1, 2]))
ICC = struct.pack('>I', 132) + b'test' + bytes(124)
XML = b'<?xml version="1.0"?><note>north \xc3\xa9</note>'
URL = b'https://example.org/a/rather/long/address/that/does/not/fit/in/the/log/line.tif'
TIFF = b'II*\x00\x08\x00\x00\x00\x00\x00'


def make_jp2_files(out, streams):
    grey, rgb, plain = streams['grey_noise'], streams['rgb_transform'], streams['rgb_plain']
    rgba, pair = streams['rgba_plain'], streams['two_components']

    def accept(name, stream, picture, *args, entries=(), kind='lossless', **kwargs):
        out.accept(name, jp2(stream, *args, **kwargs), stream, picture, kind, True, entries)

    accept('jp2_grey.jp2', grey, 'noise', [colour(1, 17)])
    accept('jp2_rgb.jp2', rgb, 'photo')
    accept('jpx_brand.jp2', grey, 'noise', brand='jpx ', compatible=('jp2 ', 'jpx '))
    accept('compatible_32.jp2', grey, 'noise', compatible=['none'] * 31 + ['jp2 '])
    commented = inserted(rgb, find(rgb, COD), com(b'made for a test') + com(b'\x00\x01\x02', 0))
    accept('metadata.jp2', commented, 'photo', [colour(1, 16)],
           [box('xml ', XML), box('url ', bytes(4) + URL + b'\0'), box('uuid', GEOTIFF + TIFF),
            box('uuid', OTHER_UUID + b'payload'), box('free', b'skipped')],
           box('xml ', b'<last/>') + box('uuid', OTHER_UUID) + box('skip', b'12345'),
           entries=[(3, XML), (4, URL + b'\0'), (2, TIFF), (7, OTHER_UUID + b'payload'), (0, b'made for a test'),
                    (1, b'\x00\x01\x02'), (3, b'<last/>'), (7, OTHER_UUID)])
    accept('icc.jp2', rgb, 'photo', [colour(2, ICC), colour(1, 16)], entries=[(6, ICC)])
    accept('icc_any.jp2', rgb, 'photo', [colour(3, ICC)], entries=[(6, ICC)])
    accept('palette.jp2', streams['bits_2'], 'noise', [colour(1, 16), box('pclr', PALETTE), CMAP],
           entries=[(5, PALETTE)])
    accept('trailing_half_header.jp2', grey, 'noise', trailing=b'\0\0\0\x10')
    accept('channels_blue_first.jp2', plain, 'photo', [colour(1, 16), channels((0, 0, 3), (1, 0, 2), (2, 0, 1))],
           kind='blue_first')
    accept('channels_opacity.jp2', rgba, 'noise',
           [colour(1, 16), channels((0, 0, 1), (1, 0, 2), (2, 0, 3), (3, 1, 0))])
    accept('channels_premultiplied.jp2', rgba, 'noise',
           [colour(1, 16), channels((0, 0, 1), (1, 0, 2), (2, 0, 3), (3, 2, 0))])
    accept('channels_grey_opacity.jp2', pair, 'gradient', [colour(1, 17), channels((0, 0, 1), (1, 1, 0))])
    accept('ycc.jp2', plain, 'photo', [colour(1, 18)], kind='ycc')
    accept('ycc_420.jp2', streams['chroma_420'], 'gradient', [colour(1, 18)], kind='ycc')
    accept('ycc_12.jp2', streams['bits_12_420'], 'gradient', [colour(1, 22)], kind='ycc')
    accept('bilevel_18.jp2', plain, 'photo', [colour(1, 18)], brand='jpx ', compatible=('jpx ',))
    open_length = jp2(grey)
    at = open_length.index(b'jp2c') - 4
    out.accept('codestream_length_0.jp2', patched(open_length, at, bytes(4)), grey, 'noise', 'lossless', True)
    out.accept('codestream_length_wrong.jp2', patched(open_length, at, b'\0\0\0\x63'), grey, 'noise', 'lossless', True)


def make_variants(out, streams):
    """Accepted files that are edits of others."""
    grey = streams['grey_noise']
    out.accept('rsiz_any.j2k', patched(grey, find(grey, SIZ) + 4, b'\x7f\xff'), grey, 'noise', 'lossless')
    out.accept('step_0.j2k', patched(grey, find(grey, SIZ) + 41, b'\0\0'), grey, 'noise', 'lossless')
    out.accept('ssiz_bit_6.j2k', patched(grey, find(grey, SIZ) + 40, b'\x47'), grey, 'noise', 'lossless')
    out.accept('garbage_behind.j2k', grey + b'\0\0\0\x01garbage', grey, 'noise', 'lossless')
    commented = inserted(grey, find(grey, COD), com(b'one') + com(b'\xff\xfe', 0))
    out.accept('comments.j2k', commented, commented, 'noise', 'lossless', False, [(0, b'one'), (1, b'\xff\xfe')])
    last = list(tile_parts(grey))[-1][0]
    out.accept('part_length_0.j2k', patched(grey, last + 6, bytes(4)), grey, 'noise', 'lossless')


def make_refused_streams(out, streams):
    grey, rgb = streams['grey_noise'], streams['rgb_transform']
    siz, cod, sot = find(grey, SIZ), find(grey, COD), find(grey, SOT)

    def refuse(name, code, stream):
        out.refuse('bad_' + name + '.j2k', code, stream)

    def siz_field(number, value):
        return patched(grey, siz + 6 + 4 * number, struct.pack('>I', value))

    refuse('empty_image', 3, siz_field(2, 33))
    refuse('empty_rows', 3, siz_field(3, 40))
    refuse('tile_width_0', 3, siz_field(4, 0))
    refuse('tile_height_0', 3, siz_field(5, 0))
    refuse('tile_origin_beyond', 3, siz_field(6, 1))
    refuse('no_components', 3, patched(grey, siz + 38, b'\0\0'))
    refuse('too_many_tiles', 2, patched(grey, siz + 6, struct.pack('>8I', 4097, 4097, 0, 0, 1, 1, 0, 0)))
    refuse('width_65536', 14, siz_field(0, 65536))
    refuse('height_big', 14, siz_field(1, 0x80000000))
    refuse('precision_17', 20, patched(grey, siz + 40, b'\x10'))
    refuse('precision_mixed', 20, patched(rgb, find(rgb, SIZ) + 43, b'\x08'))
    refuse('signed', 21, patched(grey, siz + 40, b'\x87'))
    refuse('progression_5', 13, patched(grey, cod + 5, b'\x05'))
    refuse('wavelet_2', 13, patched(grey, cod + 13, b'\x02'))
    refuse('not_an_image', 3, b'This is a plain text, not an image.\n')
    refuse('no_soc', 3, grey[2:])
    refuse('packed_main', 25, inserted(grey, cod, b'\xff\x60\x00\x04\x00\x00'))
    refuse('packed_tile', 25, in_tile_header(grey, b'\xff\x61\x00\x04\x00\x00'))
    refuse('poc_tile', 24, in_tile_header(grey, b'\xff\x5f\x00\x09\x00\x00\x00\x01\x04\x01\x00'))
    refuse('cut_in_siz', 4, grey[:20])
    refuse('cut_in_packet', 3, grey[:-20])
    refuse('cut_between_packets', 4, streams['layers_30'][:-900])
    refuse('cut_before_eoc', 3, grey[:-2])
    refuse('tile_index', 3, patched(grey, sot + 4, b'\x00\x01'))
    parts = list(tile_parts(streams['parts_resolution']))
    second = [p for p, _ in parts if streams['parts_resolution'][p + 10] == 1][0]
    cod_segment = next(s for m, _, s in main_markers(streams['parts_resolution']) if m == COD)
    refuse('cod_in_second_part', 3, in_tile_header(streams['parts_resolution'], cod_segment, second))


def in_tile_header(stream, segment, at=None):
    at = find(stream, SOT) if at is None else at
    length = struct.unpack('>I', stream[at + 6:at + 10])[0]
    longer = patched(stream, at + 6, struct.pack('>I', length + len(segment)))
    return inserted(longer, at + 12, segment)


def make_refused_boxes(out, streams):
    grey = streams['grey_noise']
    good = jp2(grey)

    def refuse(name, code, data):
        out.refuse('bad_' + name + '.jp2', code, data)

    def with_boxes(*boxes):
        return jp2(grey, (), boxes)

    at = good.index(b'jp2c') - 4
    refuse('signature', 13, patched(good, 8, b'\r\n\x87\r'))
    refuse('signature_cut', 4, good[:9])
    refuse('brand', 13, jp2(grey, brand='qt  '))
    refuse('no_compatible', 13, jp2(grey, compatible=()))
    refuse('foreign_compatible', 13, jp2(grey, compatible=('mp41', 'isom')))
    refuse('compatible_33', 3, jp2(grey, compatible=['jp2 '] * 33))
    refuse('long_box', 26, patched(good, at, b'\0\0\0\x01'))
    refuse('huge_box', 26, with_boxes(struct.pack('>I4s', 0x80000010, b'free') + bytes(8)))
    refuse('short_box', 13, with_boxes(struct.pack('>I4s', 7, b'free')))
    refuse('empty_box', 13, with_boxes(box('free', b'')))
    refuse('colour_method', 13, jp2(grey, [colour(4, b'\0\0\0\0')]))
    refuse('palette_to_the_end', 2, with_boxes(struct.pack('>I4s', 0, b'pclr') + bytes(8)))
    refuse('short_uuid', 3, with_boxes(box('uuid', OTHER_UUID[:9])))
    refuse('short_geotiff', 2, with_boxes(struct.pack('>I4s', 12, b'uuid') + GEOTIFF))
    refuse('no_codestream', 4, SIGNATURE + file_type() + box('xml ', XML))
    refuse('trailing_box', 13, good + struct.pack('>I4s', 5, b'free'))
    refuse('trailing_long_box', 26, good + struct.pack('>I4s', 1, b'free'))
    stream_at = good.index(b'jp2c') + 4
    refuse('codestream', 3, patched(good, stream_at + find(grey, SIZ) + 22, bytes(4)))


def main():
    out, streams = Folder(), {}
    for old in os.listdir(HERE):
        if old.endswith(('.j2k', '.jp2')):
            os.remove(os.path.join(HERE, old))
    with tempfile.TemporaryDirectory() as folder:
        for row in ENCODED:
            stream = streams[row[0]] = encode(folder, *row)
            out.accept(row[0] + '.j2k', stream, stream, row[1], 'lossless' if is_lossless(row[6]) else 'lossy')
        for name, code, *rest in ENCODED_REFUSED:
            out.refuse('bad_' + name + '.j2k', code, encode(folder, name, *rest))
    make_jp2_files(out, streams)
    make_variants(out, streams)
    make_refused_streams(out, streams)
    make_refused_boxes(out, streams)
    for name, lines in (('accepted.txt', out.accepted), ('refused.txt', out.refused),
                        ('metadata.txt', out.metadata)):
        with open(os.path.join(HERE, name), 'w') as f:
            f.write('\n'.join(lines) + '\n')


if __name__ == '__main__':
    main()
