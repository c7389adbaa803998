import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join, relative } from 'node:path';
import test, { after } from 'node:test';

import { Browser } from './support/browser.js';
import { dataFile, demo, nativeOutcome, pictures, root, table } from './support/files.js';
import { startServer } from './support/server.js';

const server = await startServer();
const browser = await Browser.start();
await browser.open(`${server.base}bindings/js/demo/index.html`);
after(async () => {
  await browser.stop();
  server.stop();
});

const SHARP = /sharp after/;

test('every file has the outcome of the native program in Chromium', async () => {
  const paths = pictures();
  const outcomes = await browser.run(async (urls) => {
    const { WbxWorker } = await import('/bindings/js/lib/index.js');
    const worker = await WbxWorker.start();
    const hashOf = async (data) => {
      const digest = await crypto.subtle.digest('SHA-256', data);
      return [...new Uint8Array(digest)].map((byte) => byte.toString(16).padStart(2, '0')).join('');
    };
    const outcome = async (url) => {
      try {
        const image = await worker.open(await (await fetch(url)).arrayBuffer());
        const { data } = await image.decode({ order: 'components' });
        await image.close();
        return await hashOf(data);
      } catch (error) {
        return `error ${error.code}`;
      }
    };
    const all = [];
    for (const url of urls) all.push(await outcome(url));
    return all;
  }, paths.map((path) => `/${relative(root, path)}`));
  assert.deepEqual(table(paths, (path) => outcomes[paths.indexOf(path)]), table(paths, nativeOutcome));
});

test('the page shows the sample, zooms by keys, and saves it with its pixels', async () => {
  assert.match(await browser.waitForText('#status', SHARP), /600 × 400 pixels, shown from full size/);
  const before = await browser.waitForText('#scale', /%/);
  await browser.type('#picture', '+');
  assert.notEqual(await browser.waitForText('#scale', /%/), before);
  await browser.type('#picture', '1');
  assert.equal(await browser.waitForText('#scale', /%/), '100 %');

  const differing = await browser.run(async (url) => {
    const saved = new Promise((resolve) => {
      HTMLAnchorElement.prototype.click = function click() { resolve(this.href); };
    });
    document.getElementById('save').click();
    const bitmap = await createImageBitmap(await (await fetch(await saved)).blob());
    const context = new OffscreenCanvas(bitmap.width, bitmap.height).getContext('2d');
    context.drawImage(bitmap, 0, 0);
    const { data } = context.getImageData(0, 0, bitmap.width, bitmap.height);

    const { WbxDecoder } = await import('/bindings/js/lib/index.js');
    const image = (await WbxDecoder.load()).open(await (await fetch(url)).arrayBuffer());
    const wanted = image.imageData().data;
    return wanted.length - data.length + wanted.filter((sample, i) => sample !== data[i]).length;
  }, `/${relative(root, demo)}`);
  assert.equal(differing, 0);
});

test('a broken file gets its error in words, and the next good one is shown', async () => {
  await browser.type('#file', dataFile('bad_cut_in_packet.j2k'));
  assert.match(await browser.waitForText('#error', /./), /bad_cut_in_packet.j2k cannot be shown.*\(error 3\)/);
  await browser.type('#file', dataFile('metadata.jp2'));
  await browser.waitForText('#status', SHARP);
  assert.equal(await browser.waitForText('#error', /^$/), '');
  assert.match(await browser.waitForText('#metadata', /XML/), /GeoTIFF/);
});

// A picture of 50 megapixels in one tile, with something to see.
function makeLargePicture(path) {
  const [width, height] = [8192, 6144];
  const rows = Buffer.alloc(width * height);
  for (let y = 0, i = 0; y < height; ++y) {
    for (let x = 0; x < width; ++x) rows[i++] = ((x * x + y * y) >> 14) ^ ((x & y) >> 6);
  }
  const source = path.replace(/\.jp2$/, '.pgm');
  writeFileSync(source, Buffer.concat([Buffer.from(`P5\n${width} ${height}\n255\n`), rows]));
  execFileSync('opj_compress', ['-i', source, '-o', path, '-r', '20'], { stdio: 'ignore' });
}

test('the page answers while it decodes 50 megapixels', async () => {
  const folder = mkdtempSync(join(tmpdir(), 'wbx-codec-'));
  try {
    const path = join(folder, 'large.jp2');
    makeLargePicture(path);
    await browser.run(async () => {
      window.longestPause = 0;
      let last = performance.now();
      window.heartbeat = setInterval(() => {
        const now = performance.now();
        window.longestPause = Math.max(window.longestPause, now - last);
        last = now;
      }, 10);
    });
    await browser.type('#file', path);
    await browser.waitForText('#status', /8192 × 6144 pixels, shown from resolution.*sharp after/);
    await browser.type('#picture', '1');
    await browser.waitForText('#status', /shown from full size; sharp after/);
    const pause = await browser.run(async () => {
      clearInterval(window.heartbeat);
      return window.longestPause;
    });
    console.log(`the longest pause of the page: ${Math.round(pause)} ms`);
    assert.ok(pause < 1000, `${pause} ms`);
    if (process.env.WBX_SCREENSHOT) await browser.screenshot(process.env.WBX_SCREENSHOT);
  } finally {
    rmSync(folder, { recursive: true });
  }
});
