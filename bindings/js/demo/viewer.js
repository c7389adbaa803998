// A canvas that shows a pyramid: zoom and pan by pointer, wheel and keys, sharper step by step.

const ZOOM_STEP = 1.25;
const MOST_SCALE = 16;
const KEY_STEP = 60;
const CHECK_SIDE = 12;

export class Viewer extends EventTarget {
  #canvas;
  #context;
  #pyramid;
  #scale = 1;   // pixels of the screen for a pixel of full size
  #left = 0;    // what of the picture stands at the top left
  #top = 0;
  #fitted = true;
  #pointers = new Map();
  #decoding = false;
  #decodingSince;
  #drawn = 0;

  constructor(canvas) {
    super();
    this.#canvas = canvas;
    this.#context = canvas.getContext('2d');
    new ResizeObserver(() => this.#resize()).observe(canvas);
    this.#listen();
  }

  get scale() {
    return this.#scale;
  }

  get level() {
    return this.#pyramid.levelFor(this.#scale);
  }

  show(pyramid) {
    this.#pyramid?.drop();
    this.#pyramid = pyramid;
    this.fit();
  }

  clear() {
    this.#pyramid?.drop();
    this.#pyramid = undefined;
    this.#redraw();
  }

  fit() {
    if (this.#pyramid === undefined) return;
    this.#fitted = true;
    this.#scale = this.#fittingScale();
    this.#changed();
  }

  // Zooms around a point of the canvas, its middle by default.
  zoomTo(scale, x = this.#canvas.width / 2, y = this.#canvas.height / 2) {
    if (this.#pyramid === undefined) return;
    const before = this.#scale;
    this.#fitted = false;
    this.#scale = Math.min(Math.max(scale, Math.min(this.#fittingScale(), 1) / 4), MOST_SCALE);
    this.#left += x / before - x / this.#scale;
    this.#top += y / before - y / this.#scale;
    this.#changed();
  }

  zoomBy(factor, x, y) {
    this.zoomTo(this.#scale * factor, x, y);
  }

  zoomIn() {
    this.zoomBy(ZOOM_STEP);
  }

  zoomOut() {
    this.zoomBy(1 / ZOOM_STEP);
  }

  #fittingScale() {
    const { width, height } = this.#pyramid.levels[0].size;
    const margin = 0.96;
    return Math.min((this.#canvas.width * margin) / width, (this.#canvas.height * margin) / height, MOST_SCALE);
  }

  #panBy(x, y) {
    this.#fitted = false;
    this.#left -= x / this.#scale;
    this.#top -= y / this.#scale;
    this.#changed();
  }

  // A picture that is smaller than the canvas stands in the middle; a larger one fills it.
  #hold() {
    const { width, height } = this.#pyramid.levels[0].size;
    const held = (start, picture, canvas) => {
      const room = canvas / this.#scale;
      return picture <= room ? (picture - room) / 2 : Math.min(Math.max(start, 0), picture - room);
    };
    this.#left = held(this.#left, width, this.#canvas.width);
    this.#top = held(this.#top, height, this.#canvas.height);
  }

  #changed() {
    this.#hold();
    this.#redraw();
    this.dispatchEvent(new Event('view'));
    this.#decodeNext();
  }

  #view() {
    return {
      left: this.#left,
      top: this.#top,
      right: this.#left + this.#canvas.width / this.#scale,
      bottom: this.#top + this.#canvas.height / this.#scale,
    };
  }

  // One piece at a time, so that what is decoded next is always what the view needs then.
  async #decodeNext() {
    if (this.#decoding || this.#pyramid === undefined) return;
    const pyramid = this.#pyramid;
    const piece = pyramid.nextPiece(this.#view(), this.level);
    if (piece === undefined) {
      const time = this.#decodingSince === undefined ? 0 : performance.now() - this.#decodingSince;
      this.#decodingSince = undefined;
      this.dispatchEvent(new CustomEvent('sharp', { detail: time }));
      return;
    }
    this.#decoding = true;
    this.#decodingSince ??= performance.now();
    try {
      await pyramid.decode(piece);
    } catch (error) {
      if (pyramid === this.#pyramid) {
        this.dispatchEvent(new CustomEvent('error', { detail: error }));
        return;
      }
    } finally {
      this.#decoding = false;
    }
    if (pyramid === this.#pyramid) {
      this.dispatchEvent(new CustomEvent('piece', { detail: piece }));
      this.#redraw();
    }
    this.#decodeNext();
  }

  #redraw() {
    this.#drawn ||= requestAnimationFrame(() => {
      this.#drawn = 0;
      this.#draw();
    });
  }

  #draw() {
    const context = this.#context;
    const { width, height } = this.#canvas;
    context.setTransform(1, 0, 0, 1, 0, 0);
    context.clearRect(0, 0, width, height);
    if (this.#pyramid === undefined) return;
    context.imageSmoothingEnabled = this.#scale < 2;
    context.setTransform(this.#scale, 0, 0, this.#scale, -this.#left * this.#scale, -this.#top * this.#scale);
    this.#pyramid.draw(context, this.#view(), this.level);
    this.#drawBacking();
  }

  // Squares behind what is transparent.
  #drawBacking() {
    const { width, height } = this.#pyramid.levels[0].size;
    const context = this.#context;
    context.setTransform(1, 0, 0, 1, 0, 0);
    context.globalCompositeOperation = 'destination-over';
    context.fillStyle = this.#checks();
    context.fillRect(-this.#left * this.#scale, -this.#top * this.#scale, width * this.#scale, height * this.#scale);
    context.globalCompositeOperation = 'source-over';
  }

  #checks() {
    const tile = new OffscreenCanvas(2 * CHECK_SIDE, 2 * CHECK_SIDE);
    const context = tile.getContext('2d');
    const style = getComputedStyle(this.#canvas);
    context.fillStyle = style.getPropertyValue('--panel');
    context.fillRect(0, 0, tile.width, tile.height);
    context.fillStyle = style.getPropertyValue('--check');
    context.fillRect(0, 0, CHECK_SIDE, CHECK_SIDE);
    context.fillRect(CHECK_SIDE, CHECK_SIDE, CHECK_SIDE, CHECK_SIDE);
    return this.#context.createPattern(tile, 'repeat');
  }

  #resize() {
    const ratio = window.devicePixelRatio;
    this.#canvas.width = Math.round(this.#canvas.clientWidth * ratio);
    this.#canvas.height = Math.round(this.#canvas.clientHeight * ratio);
    if (this.#pyramid === undefined) return;
    if (this.#fitted) this.fit();
    else this.#changed();
  }

  #listen() {
    const canvas = this.#canvas;
    canvas.addEventListener('keydown', (event) => this.#onKey(event));
    canvas.addEventListener('wheel', (event) => this.#onWheel(event), { passive: false });
    canvas.addEventListener('pointerdown', (event) => this.#onDown(event));
    canvas.addEventListener('pointermove', (event) => this.#onMove(event));
    for (const end of ['pointerup', 'pointercancel']) {
      canvas.addEventListener(end, (event) => this.#pointers.delete(event.pointerId));
    }
  }

  #onKey(event) {
    if (event.ctrlKey || event.altKey || event.metaKey || this.#pyramid === undefined) return;
    const actions = {
      ArrowLeft: () => this.#panBy(KEY_STEP, 0),
      ArrowRight: () => this.#panBy(-KEY_STEP, 0),
      ArrowUp: () => this.#panBy(0, KEY_STEP),
      ArrowDown: () => this.#panBy(0, -KEY_STEP),
      '+': () => this.zoomIn(),
      '=': () => this.zoomIn(),
      '-': () => this.zoomOut(),
      0: () => this.fit(),
      1: () => this.zoomTo(1),
    };
    if (!Object.hasOwn(actions, event.key)) return;
    event.preventDefault();
    actions[event.key]();
  }

  // Where an event is, in pixels of the canvas.
  #place(event) {
    const ratio = window.devicePixelRatio;
    return { x: event.offsetX * ratio, y: event.offsetY * ratio };
  }

  #onWheel(event) {
    event.preventDefault();
    const { x, y } = this.#place(event);
    const lines = event.deltaMode === WheelEvent.DOM_DELTA_PIXEL ? event.deltaY / 100 : event.deltaY / 3;
    this.zoomBy(ZOOM_STEP ** -lines, x, y);
  }

  #onDown(event) {
    this.#canvas.setPointerCapture(event.pointerId);
    this.#pointers.set(event.pointerId, this.#place(event));
  }

  #onMove(event) {
    const before = this.#pointers.get(event.pointerId);
    if (before === undefined || this.#pyramid === undefined) return;
    const now = this.#place(event);
    const other = [...this.#pointers].find(([id]) => id !== event.pointerId)?.[1];
    this.#pointers.set(event.pointerId, now);
    if (other === undefined) {
      this.#panBy(now.x - before.x, now.y - before.y);
    } else {
      const distance = (point) => Math.max(Math.hypot(point.x - other.x, point.y - other.y), 1);
      this.zoomBy(distance(now) / distance(before), other.x, other.y);
    }
  }
}
