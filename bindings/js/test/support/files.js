// The pictures that the tests decode, and what the native program says of them.
import { spawnSync } from 'node:child_process';
import { createHash } from 'node:crypto';
import { readFileSync, readdirSync } from 'node:fs';
import { basename } from 'node:path';
import { fileURLToPath } from 'node:url';

export const root = fileURLToPath(new URL('../../../../', import.meta.url));
const program = process.env.WBX_DECODE ?? `${root}build/release/tools/wbx-decode`;

export const demo = `${root}docs/demo.jp2`;

export function dataFile(name) {
  return `${root}tests/data/${name}`;
}

// All pictures of the repository's tests, good and bad, and the demo.
export function pictures() {
  const names = readdirSync(`${root}tests/data`).filter((name) => /\.(jp2|j2k)$/.test(name));
  return [demo, ...names.map(dataFile)];
}

export function read(path) {
  return new Uint8Array(readFileSync(path));
}

export function hashOf(samples) {
  const bytes = new Uint8Array(samples.buffer, samples.byteOffset, samples.byteLength);
  return createHash('sha256').update(bytes).digest('hex');
}

// The hash of the samples, or the number of the error.
export function nativeOutcome(path) {
  const run = spawnSync(program, ['-q', '-f', 'raw', '-o', 'video=0', '-', '-'],
    { input: read(path), maxBuffer: 2 ** 28 });
  if (run.error) throw run.error;
  return run.status === 0 ? hashOf(run.stdout) : /error (\d+)/.exec(run.stderr.toString())[0];
}

export function outcomeOf(decode) {
  try {
    return hashOf(decode().data);
  } catch (error) {
    return `error ${error.code}`;
  }
}

// Pairs of a file's name and something about it, for a comparison that shows what differs.
export function table(paths, outcome) {
  return Object.fromEntries(paths.map((path) => [basename(path), outcome(path)]));
}
