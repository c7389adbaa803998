import { WbxWorker } from '../lib/index.js';
import { factsOf, showFacts, showMetadata, sizeText } from './facts.js';
import { Pyramid } from './pyramid.js';
import { Viewer } from './viewer.js';

const MOST_CANVAS_PIXELS = 2 ** 27;
const MOST_CANVAS_SIDE = 32767;
const CANCELLED = 6;

const part = (id) => document.getElementById(id);
const viewer = new Viewer(part('picture'));
let worker;
let current;    // {name, image, start} of the picture on show
let openings = 0;

function say(text) {
  part('status').textContent = text;
}

function showError(text) {
  part('error').textContent = text;
  part('error').hidden = text === '';
}

function enable(enabled) {
  for (const id of ['save', 'zoom-in', 'zoom-out', 'fit', 'full']) part(id).disabled = !enabled;
  part('empty').hidden = enabled;
}

function leave() {
  current = undefined;
  viewer.clear();
  enable(false);
  part('picture').setAttribute('aria-label', 'No picture');
  part('scale').textContent = '–';
  showFacts(part('facts'), { File: 'none' });
  showMetadata(part('metadata'), []);
}

function codeText(error) {
  return error.code === undefined ? error.message : `${error.message} (error ${error.code})`;
}

function fail(name, error) {
  leave();
  say('');
  showError(`${name} cannot be shown. ${codeText(error)}.`);
}

function show({ name, image, pyramid }, size, start) {
  current = { name, image, start };
  showFacts(part('facts'), factsOf(name, size, image.info));
  showMetadata(part('metadata'), image.metadata);
  part('picture').setAttribute('aria-label', `${name}, ${sizeText(image.info)} pixels`);
  enable(true);
  viewer.show(pyramid);
}

// `read` gives the bytes of the file. Each file has a worker of its own: whatever the last one is
// still doing ends with it. The last call wins, whichever is ready first.
async function open(name, read) {
  const opening = ++openings;
  const overtaken = () => opening !== openings;
  const start = performance.now();
  worker?.terminate();
  showError('');
  say(`Opening ${name}…`);
  try {
    const bytes = await read();
    const own = await WbxWorker.start();
    if (overtaken()) return own.terminate();
    worker = own;
    const image = await worker.open(bytes);
    const pyramid = await Pyramid.of(image);
    if (!overtaken()) show({ name, image, pyramid }, bytes.byteLength, start);
  } catch (error) {
    if (!overtaken()) fail(name, error);
  }
  return undefined;
}

function openFile(file) {
  if (file !== undefined) open(file.name, () => file.arrayBuffer());
}

async function fetchBytes(url) {
  const response = await fetch(url);
  if (!response.ok) throw new Error(`The server says ${response.status} ${response.statusText}`);
  return response.arrayBuffer();
}

function openSample() {
  open('sample.jp2', () => fetchBytes(new URL('sample.jp2', import.meta.url)));
}

// The finest level that a canvas can hold.
function savableSize({ resolutions }) {
  const level = resolutions.findIndex(({ width, height }) =>
    width * height <= MOST_CANVAS_PIXELS && Math.max(width, height) <= MOST_CANVAS_SIDE);
  return { level, ...resolutions[level] };
}

async function pngOf(image, level) {
  const imageData = await image.imageData({ level });
  const canvas = new OffscreenCanvas(imageData.width, imageData.height);
  canvas.getContext('2d').putImageData(imageData, 0, 0);
  return canvas.convertToBlob({ type: 'image/png' });
}

function download(blob, name) {
  const link = document.createElement('a');
  link.href = URL.createObjectURL(blob);
  link.download = name;
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 60000);
}

async function save() {
  const { name, image } = current;
  const { level, ...size } = savableSize(image.info);
  part('save').disabled = true;
  say(`Saving ${sizeText(size)} pixels…`);
  try {
    download(await pngOf(image, level), `${name.replace(/\.[^.]*$/, '')}.png`);
    say(`Saved ${sizeText(size)} pixels${level > 0 ? '; more than that a canvas does not hold' : ''}`);
  } catch (error) {
    if (current?.image === image) showError(`${name} cannot be saved. ${codeText(error)}.`);
  }
  part('save').disabled = current === undefined;
}

function levelText() {
  const { info } = current.image;
  const { level } = viewer;
  return level === 0 ? 'full size' : `resolution ${sizeText(info.resolutions[level])}`;
}

viewer.addEventListener('view', () => {
  const percent = viewer.scale * 100;
  part('scale').textContent = `${percent < 10 ? percent.toPrecision(2) : Math.round(percent)} %`;
});

viewer.addEventListener('piece', ({ detail: piece }) => {
  say(`${current.name}: ${sizeText(current.image.info.resolutions[piece.level])} pixels so far…`);
});

// The time is from the opening of the file, later from the change of the view.
viewer.addEventListener('sharp', ({ detail }) => {
  const time = current.seen ? detail : performance.now() - current.start;
  current.seen = true;
  const text = `${current.name}: ${sizeText(current.image.info)} pixels, shown from ${levelText()}`;
  say(time > 0 ? `${text}; sharp after ${Math.round(time)} ms` : text);
});

viewer.addEventListener('error', ({ detail }) => {
  if (detail.code !== CANCELLED) fail(current.name, detail);
});

part('file').addEventListener('change', ({ target }) => {
  openFile(target.files[0]);
  target.value = '';
});
part('sample').addEventListener('click', openSample);
part('save').addEventListener('click', save);
part('zoom-in').addEventListener('click', () => viewer.zoomIn());
part('zoom-out').addEventListener('click', () => viewer.zoomOut());
part('fit').addEventListener('click', () => viewer.fit());
part('full').addEventListener('click', () => viewer.zoomTo(1));

const stage = document.querySelector('.stage');
document.addEventListener('dragover', (event) => {
  event.preventDefault();
  stage.classList.add('dropping');
});
document.addEventListener('dragleave', (event) => {
  if (event.relatedTarget === null) stage.classList.remove('dropping');
});
document.addEventListener('drop', (event) => {
  event.preventDefault();
  stage.classList.remove('dropping');
  openFile(event.dataTransfer.files[0]);
});

openSample();
