/** What a file says about a picture. Sizes are in pixels. */
export interface ImageInfo {
  /** Of the library, as a number. */
  version: number;
  width: number;
  height: number;
  /** Coded components, 1 to 4; the pixels of the picture may have fewer or, with a palette, more. */
  components: number;
  /** Bits of a coded sample, 1 to 16. */
  bits: number;
  tilesAcross: number;
  tilesDown: number;
  /** In a JP2 or JPX file; false for a raw codestream. */
  boxed: boolean;
  /** The 5-3 reversible wavelet; false for the 9-7 irreversible one. */
  reversible: boolean;
  /** The sizes at levels 0, 1, 2 and so on, from the full size down. */
  resolutions: { width: number; height: number }[];
  /** "sRGB", "grey", "sYCC", "CMYK", "Lab", "ICC" or "number N"; undefined if the file does not say. */
  colour?: string;
  /** Whether the file says that a channel is opacity, and whether colours are multiplied by it. */
  opacity: 'none' | 'straight' | 'premultiplied';
  /** Whether the colours come from a palette, which is applied. */
  palette: boolean;
}

/** A comment of the codestream or a box of the file. */
export interface MetadataEntry {
  kind: 'text' | 'binary' | 'geotiff' | 'xml' | 'url' | 'palette' | 'icc' | 'uuid';
  /** The bytes as they stand in the file, with big-endian numbers. */
  data: Uint8Array;
  /** The same as text, of the kinds text, xml and url. */
  text?: string;
}

export interface SelectOptions {
  /**
   * How many of the finest resolutions to leave out; each halves width and height. Default 0. Above
   * the last one there is error 10.
   */
  level?: number;
  /**
   * The tile or tiles to decode, numbered row by row from 0; default all. The picture is the
   * rectangle around them, and without content where it holds other tiles. A number that no tile
   * has is error 9.
   */
  tiles?: number | number[];
}

export interface DecodeOptions extends SelectOptions {
  /**
   * - "picture", the default: grey or red, green, blue, then opacity if the file says that there is
   *   one; palette applied; samples of 0 to 2^bits - 1.
   * - "rgba": red, green, blue and opacity in bytes, as a canvas takes them; colours not multiplied
   *   by opacity, 255 where the file has none.
   * - "components": all components in their order, red first, without palette, as the library's
   *   WBX_Decode writes them: samples of fewer than 8 bits keep the level shift of 8 bits.
   */
  order?: 'picture' | 'rgba' | 'components';
}

/** Pixels row by row from the top, their samples one after the other, without gaps. */
export interface Picture {
  width: number;
  height: number;
  /** Samples of a pixel. */
  channels: number;
  /** Bits of a sample. */
  bits: number;
  /** Bytes for up to 8 bits, else words. It is the caller's. */
  data: Uint8ClampedArray | Uint16Array;
}

/** Where the tiles lie: tile (column, row) spans columns[column] to columns[column + 1]. */
export interface TileGrid {
  columns: Uint32Array;
  rows: Uint32Array;
}

/**
 * What all functions throw, or reject with. The codes are those of the C library: 2 memory, 3 and 4
 * damaged or cut off, 5 argument, 6 cancelled, 9 tile, 10 resolution, 13 to 26 what is not read, 27
 * a failure of the library, after which its decoder and images are of no more use.
 */
export class WbxError extends Error {
  constructor(code: number, text: string);
  readonly code: number;
}

export interface LoadOptions {
  /** Whether to take the build with vector instructions. Default: if the host has them. */
  simd?: boolean;
  /**
   * The module itself, for a bundler or host that cannot find wbx.wasm and wbx-simd.wasm beside the
   * package's scripts. Default: one of these two.
   */
  wasm?: ArrayBuffer | ArrayBufferView | WebAssembly.Module;
}

/** Decodes on the calling thread. */
export class WbxDecoder {
  private constructor();
  /** Loads the module; it is compiled once, and every decoder has memory of its own. */
  static load(options?: LoadOptions): Promise<WbxDecoder>;
  /** Opens a JP2, JPX or raw codestream. The bytes are copied. */
  open(source: ArrayBuffer | ArrayBufferView): WbxImage;
}

/** An open image. */
export class WbxImage {
  private constructor();
  readonly info: ImageInfo;
  readonly metadata: MetadataEntry[];
  decode(options?: DecodeOptions): Picture;
  /**
   * An ImageData for a canvas, from the order "rgba". Where there is no such class, as in Node.js,
   * an object with its data, width and height.
   */
  imageData(options?: SelectOptions): ImageData;
  /** The edges of the columns and rows of tiles in the picture at a level. */
  tileGrid(level?: number): TileGrid;
  /** Frees the memory of the image. Dropped images are closed too, but nobody knows when. */
  close(): void;
}

/** Decodes in a worker, so that the page goes on answering. */
export class WbxWorker {
  private constructor();
  static start(options?: LoadOptions): Promise<WbxWorker>;
  /** Opens an image in the worker. The bytes are copied. */
  open(source: ArrayBuffer | ArrayBufferView): Promise<WorkerImage>;
  /** Ends the worker, whatever it is doing. Calls that wait are rejected with error 6. */
  terminate(): void;
}

/** An image in a worker: the functions of WbxImage, with promises. */
export interface WorkerImage {
  readonly info: ImageInfo;
  readonly metadata: MetadataEntry[];
  decode(options?: DecodeOptions): Promise<Picture>;
  imageData(options?: SelectOptions): Promise<ImageData>;
  tileGrid(level?: number): Promise<TileGrid>;
  close(): Promise<void>;
}
