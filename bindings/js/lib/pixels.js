// From the samples that the library delivers to the pixels that a caller wants.

function maximum(bits) {
  return 2 ** bits - 1;
}

// Samples of fewer than 8 bits keep the level shift of 8 bits when the library writes them.
function shortShift(bits) {
  return bits < 8 ? 128 - 2 ** (bits - 1) : 0;
}

function clamp(value, most) {
  return Math.min(Math.max(value, 0), most);
}

// What each value of a sample becomes in a channel whose samples have `bits` bits.
function channelTable(channel, plan, info, bits) {
  const column = plan.palette?.[channel.column];
  const most = maximum(column?.bits ?? info.bits);
  const last = (column?.samples.length ?? most + 1) - 1;
  const shift = shortShift(info.bits);
  const table = new Uint16Array(info.bits > 8 ? 65536 : 256);
  for (let value = 0; value < table.length; ++value) {
    const index = clamp(value - shift, last);
    const sample = Math.min(column?.samples[index] ?? index, most);
    table[value] = Math.round((sample * maximum(bits)) / most);
  }
  return table;
}

// Where the library puts a component in a pixel.
function samplePlace(component, exchanged) {
  return exchanged && component < 3 ? 2 - component : component;
}

function channelBits(plan, info) {
  return Math.max(...plan.channels.map(({ column }) =>
    column === undefined ? info.bits : plan.palette[column].bits));
}

// Straight colours out of colours that were multiplied by opacity.
function divideByOpacity(rgba) {
  for (let i = 0; i < rgba.length; i += 4) {
    const opacity = rgba[i + 3];
    if (opacity === 0 || opacity === 255) continue;
    for (let k = i; k < i + 3; ++k) rgba[k] = (rgba[k] * 255) / opacity;
  }
}

// The inverse irreversible component transform (T.800 G.3.2), in place.
function convertYcc(raw, bits) {
  const middle = 2 ** (Math.max(bits, 8) - 1);
  const rounded = (value) => clamp(Math.round(value), 2 * middle - 1);
  for (let i = 0; i < raw.length; i += 3) {
    const luminance = raw[i];
    const blue = raw[i + 1] - middle;
    const red = raw[i + 2] - middle;
    raw[i] = rounded(luminance + 1.402 * red);
    raw[i + 1] = rounded(luminance - 0.344136 * blue - 0.714136 * red);
    raw[i + 2] = rounded(luminance + 1.772 * blue);
  }
}

// Fills every `step`th element of `to` from element `at` on.
function fillChannel(to, at, step, from, place, components, table) {
  for (let i = at, k = place; i < to.length; i += step, k += components) to[i] = table[from[k]];
}

// The samples as they are coded.
function componentsLayout(info) {
  return {
    channels: info.components,
    bits: info.bits,
    pixelSamples: info.components,
    colourOrder: 'RGB',
  };
}

function isDirect(plan, info) {
  return info.bits >= 8 && !plan.ycc && plan.channels.length === info.components &&
    plan.channels.every(({ component, column }, i) =>
      column === undefined && samplePlace(component, plan.exchanged) === i);
}

function pictureLayout(plan, info) {
  const layout = { ...componentsLayout(info), channels: plan.channels.length, asCoded: plan.ycc };
  if (isDirect(plan, info)) return layout;
  const bits = channelBits(plan, info);
  const convert = (raw, data) => {
    if (plan.ycc) convertYcc(raw, info.bits);
    plan.channels.forEach((channel, i) => {
      const place = samplePlace(channel.component, plan.exchanged);
      const table = channelTable(channel, plan, info, bits);
      fillChannel(data, i, plan.channels.length, raw, place, info.components, table);
    });
  };
  return { ...layout, bits, convert };
}

// The library itself writes RGBA bytes for the usual pictures.
function isDirectRgba(plan, info) {
  return info.bits === 8 && isDirect(plan, info) && info.components !== 2 &&
    plan.opacity === (info.components === 4 ? 'straight' : 'none');
}

function rgbaLayout(plan, info) {
  const layout = { ...componentsLayout(info), channels: 4, bits: 8, asCoded: plan.ycc };
  if (isDirectRgba(plan, info)) {
    return { ...layout, pixelSamples: 4, colourOrder: info.components === 1 ? 'ggg0' : 'RGB' };
  }
  const opaque = plan.opacity === 'none';
  const colours = plan.channels.length - (opaque ? 0 : 1);
  const convert = (raw, data) => {
    if (plan.ycc) convertYcc(raw, info.bits);
    if (opaque) data.fill(255);
    for (let i = 0; i < (opaque ? 3 : 4); ++i) {
      const channel = plan.channels[i === 3 ? colours : Math.min(i, colours - 1)];
      const place = samplePlace(channel.component, plan.exchanged);
      fillChannel(data, i, 4, raw, place, info.components, channelTable(channel, plan, info, 8));
    }
    if (plan.opacity === 'premultiplied') divideByOpacity(data);
  };
  return { ...layout, convert };
}

const LAYOUTS = {
  picture: pictureLayout,
  rgba: rgbaLayout,
  components: (plan, info) => componentsLayout(info),
};

// How an order of samples is decoded; undefined for an unknown one.
//   channels       samples of a pixel of the result
//   bits           their width
//   pixelSamples   samples of a pixel that the library writes
//   colourOrder    its comp_order option
//   asCoded        without the transforms of the library
//   convert        fills the result from the library's samples; undefined if they are the result
export function layoutOf(order, plan, info) {
  return Object.hasOwn(LAYOUTS, order) ? LAYOUTS[order](plan, info) : undefined;
}
