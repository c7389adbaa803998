// The files of the package and of the repository's tests, on a port of this machine.
import { readFile } from 'node:fs/promises';
import { createServer } from 'node:http';
import { extname, normalize } from 'node:path';

import { root } from './files.js';

const TYPES = {
  '.css': 'text/css',
  '.html': 'text/html',
  '.js': 'text/javascript',
  '.wasm': 'application/wasm',
};

async function answer(request, response) {
  try {
    const path = normalize(decodeURIComponent(new URL(request.url, 'http://localhost').pathname));
    const body = await readFile(root + path);
    response.writeHead(200, { 'Content-Type': TYPES[extname(path)] ?? 'application/octet-stream' });
    response.end(body);
  } catch {
    response.writeHead(404).end();
  }
}

export async function startServer() {
  const server = createServer(answer);
  await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
  const base = `http://127.0.0.1:${server.address().port}/`;
  return { base, stop: () => server.close() };
}
