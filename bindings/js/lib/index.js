export { WbxDecoder } from './decoder.js';
export { WbxError } from './error.js';
export { WbxWorker } from './worker.js';
