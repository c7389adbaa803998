import { readColourPlan } from './boxes.js';
import { ErrorCode, WbxError } from './error.js';
import { Module } from './module.js';
import { layoutOf } from './pixels.js';

const META_KINDS = ['text', 'binary', 'geotiff', 'xml', 'url', 'palette', 'icc', 'uuid'];
const META_ENCODINGS = { text: 'latin1', xml: 'utf-8', url: 'utf-8' };
const MOST_SOURCE_BYTES = 2 ** 31 - 1;
const MOST_PICTURE_BYTES = 2 ** 32 - 1;

// Images that were dropped without a close.
const dropped = new FinalizationRegistry(({ module, handle, source }) =>
  module.closeImage(handle, source));

function argumentError(text) {
  return new WbxError(ErrorCode.argument, text);
}

function bytesOf(source) {
  if (source instanceof ArrayBuffer) return new Uint8Array(source);
  if (!ArrayBuffer.isView(source)) throw argumentError('The source is no bytes');
  return new Uint8Array(source.buffer, source.byteOffset, source.byteLength);
}

function entryOf(kind, data) {
  const name = META_KINDS[kind] ?? 'binary';
  const encoding = META_ENCODINGS[name];
  if (encoding === undefined) return { kind: name, data };
  return { kind: name, data, text: new TextDecoder(encoding).decode(data).replace(/\0+$/, '') };
}

export class WbxDecoder {
  #module;

  static async load(options) {
    return new WbxDecoder(await Module.load(options));
  }

  constructor(module) {
    this.#module = module;
  }

  open(source) {
    const bytes = bytesOf(source);
    if (bytes.length < 1 || bytes.length > MOST_SOURCE_BYTES) {
      throw argumentError('The source is empty or has 2 GB or more');
    }
    const module = this.#module;
    const address = module.allocate(bytes.length);
    module.bytes(address, bytes.length).set(bytes);
    const handle = module.call('WBX_OpenMemory', address, bytes.length) >>> 0;
    if (handle !== 0) return new WbxImage(module, handle, address, bytes);
    const error = module.error(module.call('WBX_getLastError'));
    module.free(address);
    throw error;
  }
}

export class WbxImage {
  #module;
  #handle;
  #source;
  #plan;
  #metadata;

  constructor(module, handle, source, bytes) {
    this.#module = module;
    this.#handle = handle;
    this.#source = source;
    dropped.register(this, { module, handle, source }, this);
    this.info = this.#readInfo();
    this.#plan = readColourPlan(bytes, this.info.components);
    this.info.colour = this.#plan.colour;
    this.info.opacity = this.#plan.opacity;
    this.info.palette = this.#plan.palette !== undefined;
  }

  get metadata() {
    this.#metadata ??= this.#readMetadata();
    return this.#metadata;
  }

  decode({ level = 0, tiles, order = 'picture' } = {}) {
    const layout = layoutOf(order, this.#plan, this.info);
    if (layout === undefined) throw argumentError(`The order ${order} is unknown`);
    return this.#withTiles(tiles, () => this.#decodeSelected(level, layout));
  }

  imageData({ level, tiles } = {}) {
    const { data, width, height } = this.decode({ level, tiles, order: 'rgba' });
    return typeof ImageData === 'function' ? new ImageData(data, width, height)
      : { data, width, height };
  }

  tileGrid(level = 0) {
    const { tilesAcross, tilesDown } = this.info;
    const edges = (count, step, side) => {
      const result = new Uint32Array(count + 1);
      for (let i = 0; i < count; ++i) {
        result[i + 1] = result[i] + this.#withTiles(i * step, () => this.#sizeAt(level)[side]);
      }
      return result;
    };
    return {
      columns: edges(tilesAcross, 1, 'width'),
      rows: edges(tilesDown, tilesAcross, 'height'),
    };
  }

  close() {
    if (this.#handle === 0) return;
    dropped.unregister(this);
    this.#module.closeImage(this.#handle, this.#source);
    this.#handle = 0;
  }

  // Runs a function of the library on this image.
  #check(name, ...args) {
    if (this.#handle === 0) throw argumentError('The image is closed');
    this.#module.check(name, this.#handle, ...args);
  }

  #readInfo() {
    const [version, width, height, components, flags, tilesAcross, tilesDown, bits] =
      this.#fetch(8, (address) => this.#check('WBX_GetInfoEx', address));
    const [levels] = this.#fetch(1, (address) => this.#check('WBX_GetResolutions', address));
    return {
      version, width, height, components, bits, tilesAcross, tilesDown,
      boxed: (flags & 1) !== 0,
      reversible: (flags & 2) !== 0,
      resolutions: Array.from({ length: levels }, (_, level) => this.#sizeAt(level)),
    };
  }

  // Lends room for `count` words to a call and returns what they then hold.
  #fetch(count, call) {
    return this.#module.withMemory(4 * count, (address) => {
      call(address);
      return [...this.#module.u32(address, count)];
    });
  }

  #sizeAt(level) {
    const [width, height] = this.#fetch(2, (address) =>
      this.#check('WBX_GetResolutionDimensions', level, address, address + 4));
    return { width, height };
  }

  #readMetadata() {
    const entries = [];
    this.#module.withMemory(16, (address) => {
      for (;;) {
        this.#check('WBX_GetMetaData', address, address + 4, address + 8, address + 12);
        const [, kind, data, length] = this.#module.u32(address, 4);
        if (data === 0) return;
        entries.push(entryOf(kind, this.#module.bytes(data, length).slice()));
      }
    });
    return entries;
  }

  #select(first, last, state) {
    this.#check('WBX_SelectTiles', first, last, state);
  }

  // Runs `use` while only these tiles are selected: one, a list, or all if undefined.
  #withTiles(tiles, use) {
    if (tiles === undefined) return use();
    this.#select(-1, -1, 0);
    try {
      for (const tile of [tiles].flat()) {
        if (!Number.isInteger(tile) || tile < 0) throw this.#module.error(ErrorCode.tile);
        this.#select(tile, tile, 1);
      }
      return use();
    } finally {
      if (this.#handle !== 0) this.#select(-1, -1, 1);
    }
  }

  #decodeSelected(level, layout) {
    if (!Number.isInteger(level) || level < 0) throw this.#module.error(ErrorCode.resolution);
    const { width, height } = this.#sizeAt(level);
    const { info } = this;
    const pixelBytes = layout.pixelSamples * (info.bits > 8 ? 2 : 1);
    const size = width * height * pixelBytes;
    if (size > MOST_PICTURE_BYTES) throw this.#module.error(ErrorCode.memory);
    const transform = layout.asCoded ? ',nomct' : '';
    const options = `res_level=${level},bpp=${pixelBytes},co=${layout.colourOrder},video=0${transform}`;
    const data = this.#module.withMemory(size, (pixels) => {
      this.#decodeTo(pixels, size, options);
      return this.#takePixels(pixels, width * height, layout);
    });
    return { width, height, channels: layout.channels, bits: layout.bits, data };
  }

  #decodeTo(pixels, size, options) {
    this.#module.withText(options, (text) => this.#module.withMemory(8, (outputs) => {
      this.#module.u32(outputs, 2).set([pixels, size]);
      this.#check('WBX_Decode', outputs, outputs + 4, text, 0);
    }));
  }

  #takePixels(pixels, count, layout) {
    const { convert, channels, pixelSamples, bits } = layout;
    const view = this.info.bits > 8 ? 'words' : 'bytes';
    const raw = this.#module[view](pixels, count * pixelSamples);
    const Samples = bits > 8 ? Uint16Array : Uint8ClampedArray;
    try {
      const data = new Samples(convert === undefined ? raw : count * channels);
      convert?.(raw, data);
      return data;
    } catch (error) {
      if (error instanceof RangeError) throw this.#module.error(ErrorCode.memory);
      throw error;
    }
  }
}
