import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import test from 'node:test';
import { fileURLToPath } from 'node:url';

import { demo } from './support/files.js';

const folder = fileURLToPath(new URL('..', import.meta.url));

const PROGRAM = `
  import { readFile } from 'node:fs/promises';
  import { WbxWorker } from 'wbx-codec';
  const image = await (await WbxWorker.start()).open(await readFile(process.argv[2]));
  const { width, height } = await image.decode({ level: 3 });
  console.log(width, height);
`;

test('the packed package holds what it needs, works when installed, and lets a program end', () => {
  const place = mkdtempSync(join(tmpdir(), 'wbx-codec-'));
  try {
    const npm = (...args) => execFileSync('npm', args, { cwd: place, encoding: 'utf8' });
    const [packed] = JSON.parse(npm('pack', folder, '--json'));
    const names = packed.files.map(({ path }) => path).sort();
    const scripts = ['boxes', 'decoder', 'error', 'host', 'index', 'module', 'node', 'pixels', 'serve',
      'wbx-worker-node', 'wbx-worker', 'worker'].map((name) => `lib/${name}.js`);
    assert.deepEqual(names, ['LICENSE', 'README.md', 'lib/index.d.ts', 'lib/wbx-simd.wasm',
      'lib/wbx.wasm', 'package.json', ...scripts].sort());

    writeFileSync(join(place, 'package.json'), '{"private": true, "type": "module"}');
    npm('install', '--offline', '--no-audit', '--no-fund', join(place, packed.filename));
    writeFileSync(join(place, 'program.js'), PROGRAM);
    const output = execFileSync('node', ['program.js', demo], { cwd: place, encoding: 'utf8' });
    assert.equal(output, '75 50\n');
  } finally {
    rmSync(place, { recursive: true });
  }
});

test('the package has the version of the library', () => {
  const { version } = JSON.parse(readFileSync(join(folder, 'package.json')));
  const project = readFileSync(join(folder, '../../CMakeLists.txt'), 'utf8');
  assert.equal(version, /project\(wbx-codec VERSION (\S+)/.exec(project)[1]);
});
