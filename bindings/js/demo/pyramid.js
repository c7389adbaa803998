// The picture at all its resolutions, in pieces that are decoded when the view needs them.
//
// A piece is a rectangle of whole tiles of one level, large enough to be worth a call and small
// enough to come soon; a picture of one tile is one piece. Its pixels are kept as bitmaps that a
// canvas draws quickly.

const PIECE_SIDE = 768;         // pixels that a piece has at least, where tiles are small
const BITMAP_PIXELS = 2 ** 21;
const MOST_PIECE_PIXELS = 2 ** 27;  // half a gigabyte
const MOST_KEPT_PIXELS = 2 ** 27;

// The first entries of runs of edges that are at least PIECE_SIDE pixels long.
function runs(edges) {
  const starts = [0];
  for (let i = 1; i < edges.length - 1; ++i) {
    if (edges[i] - edges[starts.at(-1)] >= PIECE_SIDE) starts.push(i);
  }
  return starts.map((first, i) => ({ first, end: starts[i + 1] ?? edges.length - 1 }));
}

function nextTask() {
  return new Promise((resolve) => { setTimeout(resolve); });
}

function overlap({ x, y, width, height }, { left, top, right, bottom }) {
  return x < right && x + width > left && y < bottom && y + height > top;
}

class Piece {
  bitmaps;
  lastUse = 0;

  constructor(level, grid, tiles, columns, rows) {
    this.level = level;
    this.tiles = tiles;
    this.x = grid.columns[columns.first];
    this.y = grid.rows[rows.first];
    this.width = grid.columns[columns.end] - this.x;
    this.height = grid.rows[rows.end] - this.y;
  }

  get pixels() {
    return this.width * this.height;
  }

  // In strips that share the memory of the whole, so that the page can answer between them.
  async keep({ data }) {
    const bitmaps = [];
    const step = Math.max(Math.floor(BITMAP_PIXELS / this.width), 1);
    for (let y = 0; y < this.height; y += step) {
      const rows = data.subarray(4 * this.width * y, 4 * this.width * (y + step));
      const bitmap = await createImageBitmap(new ImageData(rows, this.width));
      bitmaps.push({ bitmap, x: this.x, y: this.y + y });
      await nextTask();
    }
    this.bitmaps = bitmaps;
  }

  drop() {
    for (const { bitmap } of this.bitmaps) bitmap.close();
    this.bitmaps = undefined;
  }
}

class Level {
  constructor(number, size, grid, tilesAcross) {
    this.size = size;
    this.pieces = runs(grid.rows).flatMap((rows) => runs(grid.columns).map((columns) =>
      new Piece(number, grid, Level.#tiles(columns, rows, grid, tilesAcross), columns, rows)));
    this.usable = this.pieces.every((piece) => piece.pixels <= MOST_PIECE_PIXELS);
  }

  // Undefined for all.
  static #tiles(columns, rows, grid, tilesAcross) {
    const all = columns.end - columns.first === grid.columns.length - 1 &&
      rows.end - rows.first === grid.rows.length - 1;
    if (all) return undefined;
    const tiles = [];
    for (let row = rows.first; row < rows.end; ++row) {
      for (let column = columns.first; column < columns.end; ++column) {
        tiles.push(row * tilesAcross + column);
      }
    }
    return tiles;
  }
}

export class Pyramid {
  #image;
  #transparent;
  #clock = 0;

  static async of(image) {
    const levels = [];
    for (const [number, size] of image.info.resolutions.entries()) {
      if (size.width === 0 || size.height === 0) break;
      levels.push(new Level(number, size, await image.tileGrid(number), image.info.tilesAcross));
    }
    return new Pyramid(image, levels);
  }

  constructor(image, levels) {
    this.#image = image;
    this.#transparent = image.info.opacity !== 'none';
    this.levels = levels;
    this.finest = levels.findIndex((level) => level.usable);
  }

  // The coarsest level that has a pixel for each of the screen at this scale.
  levelFor(scale) {
    const wanted = Math.floor(Math.log2(1 / scale) + 1e-6);
    return Math.min(Math.max(wanted, this.finest), this.levels.length - 1);
  }

  // A rectangle of full size, in pixels of a level.
  #rectangleAt(level, { left, top, right, bottom }) {
    const across = this.levels[level].size.width / this.levels[0].size.width;
    const down = this.levels[level].size.height / this.levels[0].size.height;
    return { left: left * across, right: right * across, top: top * down, bottom: bottom * down };
  }

  // The pieces for a view, from coarse to fine.
  *pieces(view, finest) {
    for (let level = this.levels.length - 1; level >= finest; --level) {
      if (!this.levels[level].usable) continue;
      const rectangle = this.#rectangleAt(level, view);
      for (const piece of this.levels[level].pieces) if (overlap(piece, rectangle)) yield piece;
    }
  }

  // The next piece to decode for a view; undefined if all are there.
  nextPiece(view, finest) {
    for (const piece of this.pieces(view, finest)) if (piece.bitmaps === undefined) return piece;
    return undefined;
  }

  async decode(piece) {
    this.#makeRoom(piece.pixels);
    await piece.keep(await this.#image.imageData({ level: piece.level, tiles: piece.tiles }));
    this.#touch(piece);
  }

  // Draws what there is, in a context whose unit is the pixel of full size. What is transparent shows
  // nothing of coarser levels.
  draw(context, view, finest) {
    const full = this.levels[0].size;
    for (const piece of this.pieces(view, finest)) {
      if (piece.bitmaps === undefined) continue;
      this.#touch(piece);
      const { size } = this.levels[piece.level];
      const seen = this.#rectangleAt(piece.level, view);
      const across = full.width / size.width;
      const down = full.height / size.height;
      for (const { bitmap, x, y } of piece.bitmaps) {
        if (!overlap({ x, y, width: bitmap.width, height: bitmap.height }, seen)) continue;
        const place = [x * across, y * down, bitmap.width * across, bitmap.height * down];
        if (this.#transparent) context.clearRect(...place);
        context.drawImage(bitmap, ...place);
      }
    }
  }

  drop() {
    for (const piece of this.#kept()) piece.drop();
  }

  #touch(piece) {
    piece.lastUse = ++this.#clock;
  }

  #kept() {
    return this.levels.flatMap((level) => level.pieces).filter((piece) => piece.bitmaps !== undefined);
  }

  // Drops what was not drawn for longest.
  #makeRoom(pixels) {
    const kept = this.#kept().sort((a, b) => a.lastUse - b.lastUse);
    let sum = kept.reduce((total, piece) => total + piece.pixels, pixels);
    for (const piece of kept) {
      if (sum <= MOST_KEPT_PIXELS) return;
      sum -= piece.pixels;
      piece.drop();
    }
  }
}
