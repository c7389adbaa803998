// The side panel: what a file says about its picture.

const KINDS = {
  text: 'Comment',
  binary: 'Binary comment',
  geotiff: 'GeoTIFF',
  xml: 'XML',
  url: 'URL',
  palette: 'Palette',
  icc: 'ICC profile',
  uuid: 'UUID box',
};
const MOST_TEXT = 20000;
const MOST_BYTES = 512;

const OPACITIES = { none: 'none', straight: 'yes', premultiplied: 'yes, colours multiplied by it' };

export function sizeText({ width, height }) {
  return `${width} × ${height}`;
}

export function bytesText(count) {
  if (count < 1000) return `${count} bytes`;
  const units = ['kB', 'MB', 'GB'];
  const step = Math.min(Math.floor(Math.log10(count) / 3), units.length);
  return `${(count / 1000 ** step).toPrecision(3)} ${units[step - 1]}`;
}

function element(name, content, ...children) {
  const result = document.createElement(name);
  result.textContent = content;
  result.append(...children);
  return result;
}

export function factsOf(name, bytes, info) {
  const { tilesAcross, tilesDown, resolutions } = info;
  const tiles = tilesAcross * tilesDown;
  return {
    File: name,
    Bytes: bytesText(bytes),
    Format: info.boxed ? 'JP2 file' : 'Codestream',
    Size: `${sizeText(info)} pixels`,
    Components: `${info.components} of ${info.bits} bits`,
    Colour: info.palette ? `${info.colour ?? 'not said'}, by palette` : info.colour ?? 'not said',
    Opacity: OPACITIES[info.opacity],
    Wavelet: info.reversible ? '5-3, reversible' : '9-7, irreversible',
    Tiles: tiles === 1 ? 'one' : `${tiles}, ${sizeText({ width: tilesAcross, height: tilesDown })}`,
    Resolutions: `${resolutions.length}, down to ${sizeText(resolutions.at(-1))}`,
  };
}

export function showFacts(list, facts) {
  list.replaceChildren(...Object.entries(facts).flatMap(([name, value]) =>
    [element('dt', name), element('dd', value)]));
}

function hexDump(data) {
  const lines = [];
  for (let at = 0; at < Math.min(data.length, MOST_BYTES); at += 8) {
    const row = [...data.subarray(at, at + 8)];
    const letters = row.map((byte) => (byte > 32 && byte < 127 ? String.fromCharCode(byte) : '·'));
    lines.push(`${row.map((byte) => byte.toString(16).padStart(2, '0')).join(' ').padEnd(24)} ${letters.join('')}`);
  }
  return lines.join('\n');
}

function entryElement({ kind, data, text }) {
  const shown = text === undefined ? hexDump(data) : text.slice(0, MOST_TEXT);
  const whole = text === undefined ? data.length <= MOST_BYTES : text.length <= MOST_TEXT;
  return element('details', '',
    element('summary', `${KINDS[kind]}, ${bytesText(data.length)}`),
    element('pre', whole ? shown : `${shown}\n…`));
}

export function showMetadata(place, entries) {
  if (entries.length === 0) {
    const none = element('p', 'None.');
    none.className = 'quiet';
    place.replaceChildren(none);
    return;
  }
  place.replaceChildren(...entries.map(entryElement));
  if (entries.length === 1) place.firstChild.open = true;
}
