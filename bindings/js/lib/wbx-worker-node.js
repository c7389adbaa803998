// Runs in a worker thread of Node.js.
import { parentPort } from 'node:worker_threads';

import './node.js';
import { serve } from './serve.js';

parentPort.on('message', serve((message, buffers) => parentPort.postMessage(message, buffers)));
