import { readFile } from 'node:fs/promises';
import { Worker } from 'node:worker_threads';

import { host } from './host.js';

host.read = readFile;

host.startWorker = (onMessage, onError) => {
  const worker = new Worker(new URL('./wbx-worker-node.js', import.meta.url));
  worker.on('message', onMessage);
  worker.on('error', onError);
  return worker;
};

// An idle worker does not keep the process from ending.
host.setBusy = (worker, busy) => (busy ? worker.ref() : worker.unref());

export * from './index.js';
