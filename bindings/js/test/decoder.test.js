import assert from 'node:assert/strict';
import test from 'node:test';

import { readColourPlan } from '../lib/boxes.js';
import { Module } from '../lib/module.js';
import { WbxDecoder, WbxError, WbxWorker } from 'wbx-codec';
import { dataFile, demo, hashOf, nativeOutcome, outcomeOf, pictures, read, table } from './support/files.js';

const decoder = await WbxDecoder.load();

function open(name) {
  return decoder.open(read(dataFile(name)));
}

function errorCode(code) {
  return (error) => error instanceof WbxError && error.code === code && error.message !== '';
}

test('both builds decode and refuse every file as the native program does', async () => {
  const paths = pictures();
  const native = table(paths, nativeOutcome);
  for (const simd of [false, true]) {
    const build = await WbxDecoder.load({ simd });
    const outcome = (path) => outcomeOf(() => build.open(read(path)).decode({ order: 'components' }));
    assert.deepEqual(table(paths, outcome), native);
  }
});

// The pixel in the middle of each picture, in the three orders.
test('pixels come as the file says', () => {
  const expected = {
    'grey_photo.j2k': { picture: 1, rgba: 'ggg', bits: 8 },
    'rgb_transform.j2k': { picture: 3, rgba: 'rgb', bits: 8 },
    'rgba_plain.j2k': { picture: 3, rgba: 'rgb', bits: 8 },
    'two_components.j2k': { picture: 1, rgba: 'ggg', bits: 8 },
    'channels_opacity.jp2': { picture: 4, rgba: 'rgba', bits: 8 },
    'channels_grey_opacity.jp2': { picture: 2, rgba: 'ggga', bits: 8 },
    'channels_blue_first.jp2': { picture: 3, rgba: 'rgb', bits: 8 },
    'bits_12.j2k': { picture: 3, rgba: 'rgb', bits: 12 },
    'bits_4.j2k': { picture: 1, rgba: 'ggg', bits: 4 },
    'bits_16_rgba.j2k': { picture: 3, rgba: 'rgb', bits: 16 },
  };
  for (const [name, { picture, rgba, bits }] of Object.entries(expected)) {
    const image = open(name);
    const plain = image.decode();
    assert.deepEqual([name, plain.channels, plain.bits], [name, picture, bits]);
    const bytes = image.imageData().data;
    const places = { r: 0, g: picture > 2 ? 1 : 0, b: 2, a: picture - 1 };
    for (let pixel = 0; pixel < plain.width * plain.height; ++pixel) {
      const sample = (letter) => Math.round(
        (plain.data[pixel * picture + places[letter]] * 255) / (2 ** bits - 1));
      const wanted = [...rgba].map(sample).concat(rgba.length === 3 ? [255] : []);
      assert.deepEqual([...bytes.subarray(4 * pixel, 4 * pixel + 4)], wanted, `${name} ${pixel}`);
    }
    image.close();
  }
});

test('a palette is applied', () => {
  const image = open('palette.jp2');
  const colours = image.metadata.find(({ kind }) => kind === 'palette').data.subarray(6);
  const shift = 128 - 2 ** (image.info.bits - 1);
  const indices = image.decode({ order: 'components' }).data.map((index) => index - shift);
  const { data, channels } = image.decode();
  assert.equal(channels, 3);
  indices.forEach((index, pixel) => assert.deepEqual(
    data.subarray(3 * pixel, 3 * pixel + 3),
    new Uint8ClampedArray(colours.subarray(3 * index, 3 * index + 3))));
});

test('tiles at every level make up the whole', () => {
  const image = open('tiles_offset.j2k');
  for (let level = 0; level < image.info.resolutions.length; ++level) {
    const whole = image.decode({ level });
    const { columns, rows } = image.tileGrid(level);
    assert.deepEqual([columns.at(-1), rows.at(-1)], [whole.width, whole.height]);
    const pieced = new Uint8ClampedArray(whole.data.length);
    for (let tile = 0; tile < image.info.tilesAcross * image.info.tilesDown; ++tile) {
      const left = columns[tile % image.info.tilesAcross];
      const top = rows[Math.floor(tile / image.info.tilesAcross)];
      const { width, height, data } = image.decode({ level, tiles: tile });
      for (let y = 0; y < height; ++y) {
        pieced.set(data.subarray(y * width, (y + 1) * width), (top + y) * whole.width + left);
      }
    }
    assert.equal(hashOf(pieced), hashOf(whole.data), `level ${level}`);
  }
});

test('metadata comes with its kind and text', () => {
  const entries = open('metadata.jp2').metadata;
  const kinds = new Set(entries.map(({ kind }) => kind));
  for (const kind of ['xml', 'url', 'uuid', 'geotiff']) assert.ok(kinds.has(kind), kind);
  assert.match(entries.find(({ kind }) => kind === 'xml').text, /^<.*>\s*$/s);
});

test('mistakes have their codes', () => {
  assert.throws(() => decoder.open('text'), errorCode(5));
  assert.throws(() => decoder.open(new Uint8Array(0)), errorCode(5));
  const image = open('tiles_16.j2k');
  assert.throws(() => image.decode({ order: 'bgra' }), errorCode(5));
  assert.throws(() => image.decode({ order: 'toString' }), errorCode(5));
  assert.throws(() => image.decode({ level: 24 }), errorCode(10));
  assert.throws(() => image.decode({ level: -1 }), errorCode(10));
  assert.throws(() => image.decode({ tiles: 999 }), errorCode(9));
  assert.throws(() => image.decode({ tiles: [0, 0.5] }), errorCode(9));
  assert.deepEqual(image.decode().width, image.info.width);
  image.close();
  image.close();
  assert.throws(() => image.decode(), errorCode(5));
});

test('hostile boxes are harmless', () => {
  for (const name of ['palette.jp2', 'channels_opacity.jp2']) {
    const bytes = read(dataFile(name));
    for (let at = 0; at < Math.min(bytes.length, 160); ++at) {
      for (const value of [0, 3, 255]) {
        const changed = bytes.with(at, value);
        for (const components of [1, 4]) {
          const { channels, palette } = readColourPlan(changed, components);
          assert.ok([1, 2, 3, 4].includes(channels.length));
          assert.ok(channels.every(({ component, column }) =>
            component < components && (column === undefined || column < palette.length)));
        }
        outcomeOf(() => decoder.open(changed).imageData());
      }
    }
  }
});

test('a hundred decodes need the memory of one', async () => {
  const module = await Module.load();
  const own = new WbxDecoder(module);
  const decodeOnce = () => {
    const image = own.open(read(demo));
    image.imageData({ level: 2 });
    image.decode({ level: 2, order: 'components' });
    image.close();
    return module.bytes(0, 0).buffer.byteLength;
  };
  const first = decodeOnce();
  for (let i = 0; i < 99; ++i) assert.equal(decodeOnce(), first);
});

test('a worker does the same, and can be ended at any time', async () => {
  const worker = await WbxWorker.start();
  await assert.rejects(worker.open(Uint8Array.of(1, 2, 3)), errorCode(3));
  const image = await worker.open(read(demo));
  const own = decoder.open(read(demo));
  assert.deepEqual(image.info, own.info);
  assert.equal(hashOf((await image.imageData()).data), hashOf(own.imageData().data));
  const unfinished = image.decode();
  worker.terminate();
  await assert.rejects(unfinished, errorCode(6));
  await assert.rejects(image.decode(), errorCode(6));
});
