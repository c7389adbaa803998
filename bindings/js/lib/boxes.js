// What the boxes of a JP2 file say about colour: colour space, palette, and which channel is what
// (T.800 I.5.3). The library leaves a palette and opacity to its caller. The bytes are a stranger's:
// nothing here is believed beyond the box that it stands in.

const OPACITY = 1;
const PREMULTIPLIED = 2;
const BLUE = 3;
const MOST_CHANNELS = 255;

const COLOUR_NAMES = { 12: 'CMYK', 14: 'Lab', 16: 'sRGB', 17: 'grey', 18: 'sYCC', 22: 'sYCC' };

class Reader {
  #view;
  #at = 0;

  constructor(bytes) {
    this.#view = new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength);
  }

  get left() {
    return this.#view.byteLength - this.#at;
  }

  // Past the end there are zeros.
  take(length) {
    let value = 0;
    for (let i = 0; i < length; ++i) {
      value = value * 256 + (this.left > 0 ? this.#view.getUint8(this.#at++) : 0);
    }
    return value;
  }
}

// The boxes to the codestream, as pairs of a type and a payload. A header box is opened:
// its children come as if they stood beside it, which is how the library reads them.
function* boxesOf(bytes) {
  let at = 0;
  while (bytes.length - at >= 8) {
    const header = new Reader(bytes.subarray(at, at + 8));
    const length = header.take(4);
    const type = String.fromCharCode(...bytes.subarray(at + 4, at + 8));
    if (type === 'jp2c') yield [type, bytes.subarray(at + 8)];
    if (type === 'jp2c' || length < 8) return;
    yield [type, bytes.subarray(at + 8, at + length)];
    at += type === 'jp2h' ? 8 : length;
  }
}

function readColour(payload) {
  const reader = new Reader(payload);
  const method = reader.take(1);
  reader.take(2);
  if (method !== 1) return 'ICC';
  const space = reader.take(4);
  return COLOUR_NAMES[space] ?? `number ${space}`;
}

// Columns of samples with their widths in bits; undefined for a palette that cannot be used.
function readPalette(payload) {
  const reader = new Reader(payload);
  const entries = reader.take(2);
  if (entries < 1 || entries > 1024) return undefined;
  const columns = Array.from({ length: reader.take(1) }, () => {
    const depth = reader.take(1);
    return { bits: (depth & 0x7F) + 1, signed: depth >= 0x80, samples: new Uint16Array(entries) };
  });
  const usable = columns.every((column) => column.bits <= 16 && !column.signed);
  if (columns.length < 1 || !usable) return undefined;
  for (let entry = 0; entry < entries; ++entry) {
    for (const column of columns) column.samples[entry] = reader.take(column.bits > 8 ? 2 : 1);
  }
  return columns;
}

// For each channel its component, and its column if it goes through the palette.
function readMapping(payload) {
  const reader = new Reader(payload);
  const channels = [];
  while (reader.left >= 4 && channels.length < MOST_CHANNELS) {
    const component = reader.take(2);
    const throughPalette = reader.take(1) === 1;
    const column = reader.take(1);
    channels.push(throughPalette ? { component, column } : { component });
  }
  return channels;
}

function readDefinitions(payload) {
  const reader = new Reader(payload);
  const count = Math.min(reader.take(2), Math.floor(payload.length / 6));
  return Array.from({ length: count }, () => ({
    channel: reader.take(2),
    type: reader.take(2),
    association: reader.take(2),
  }));
}

function readBoxes(bytes) {
  const found = { definitions: [] };
  for (const [type, payload] of boxesOf(bytes)) {
    if (type === 'colr') found.colour ??= readColour(payload);
    if (type === 'pclr') found.palette ??= { columns: readPalette(payload) };
    if (type === 'cmap') found.mapping ??= readMapping(payload);
    if (type === 'jp2c') found.codestream = payload;
    if (type === 'cdef') found.definitions.push(...readDefinitions(payload));
  }
  return found;
}

function mappedChannels({ palette, mapping }, components) {
  const plain = Array.from({ length: components }, (_, component) => ({ component }));
  const columns = palette?.columns;
  if (columns === undefined) return plain;
  const channels = mapping ?? columns.map((_, column) => ({ component: 0, column }));
  const fits = channels.length > 0 && channels.every(({ component, column }) =>
    component < components && (column === undefined || column < columns.length));
  return fits ? channels : plain;
}

// The channel that a definition gives to colour number 1, 2 or 3; by default they stand in a row.
function colourChannel(definitions, number, count) {
  const defined = definitions.find(({ channel, type, association }) =>
    type === 0 && association === number && channel < count);
  return defined?.channel ?? number - 1;
}

function opacityOf(definitions, count) {
  return definitions.find(({ channel, type }) =>
    (type === OPACITY || type === PREMULTIPLIED) && channel < count);
}

// By all custom small components are chroma, whatever else the file says. SIZ comes first in a
// codestream (T.800 A.5.1).
function hasSmallChroma(codestream, components) {
  if (components !== 3 || codestream === undefined || codestream.length < 51) return false;
  const isWhole = (component) =>
    codestream[43 + 3 * component] === 1 && codestream[44 + 3 * component] === 1;
  return isWhole(0) && !isWhole(1) && !isWhole(2);
}

// How the picture is made of the samples that the library delivers with the colours exchanged to
// red, green, blue:
//   colour      the name of the colour space, if there are boxes
//   palette     columns {bits, samples}, if it is used
//   channels    the channels of the picture in order: 1 or 3 colours, then opacity if the file says
//               that there is one; each {component, column}, column undefined if direct
//   opacity     'none', 'straight' or 'premultiplied'
//   exchanged   the library puts component 2 in front of component 0
//   ycc         the components are luminance and chroma
export function readColourPlan(bytes, components) {
  const boxed = bytes[0] === 0 && bytes[1] === 0;
  const boxes = boxed ? readBoxes(bytes) : { definitions: [], codestream: bytes };
  const mapped = mappedChannels(boxes, components);
  const opacity = opacityOf(boxes.definitions, mapped.length);
  const colours = mapped.length - (opacity === undefined ? 0 : 1) >= 3 ? 3 : 1;
  const channels = Array.from({ length: colours }, (_, i) =>
    mapped[colourChannel(boxes.definitions, i + 1, mapped.length)]);
  if (opacity !== undefined) channels.push(mapped[opacity.channel]);
  return {
    colour: boxes.colour,
    palette: channels.some(({ column }) => column !== undefined) ? boxes.palette.columns
      : undefined,
    channels,
    opacity: opacity === undefined ? 'none'
      : opacity.type === PREMULTIPLIED ? 'premultiplied' : 'straight',
    exchanged: components >= 3 &&
      boxes.definitions.findLast(({ channel }) => channel === 0)?.association === BLUE,
    ycc: hasSmallChroma(boxes.codestream, components),
  };
}
