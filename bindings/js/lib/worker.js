import { ErrorCode, WbxError } from './error.js';
import { host } from './host.js';

export class WbxWorker {
  #worker;
  #pending = new Map();
  #calls = 0;
  #images = 0;
  #ended;

  static async start(options) {
    const worker = new WbxWorker();
    await worker.#call('load', [options]);
    return worker;
  }

  constructor() {
    this.#worker = host.startWorker(
      (message) => this.#settle(message),
      (error) => this.#end(new WbxError(ErrorCode.internal, `The worker failed: ${error.message}`)));
  }

  async open(bytes) {
    const id = this.#images++;
    const { info, metadata } = await this.#call('open', [id, bytes]);
    return new WorkerImage((method, ...args) => this.#call(method, [id, ...args]), info, metadata);
  }

  terminate() {
    this.#worker.terminate();
    this.#end(new WbxError(ErrorCode.cancelled, 'Cancelled'));
  }

  #call(method, args) {
    if (this.#ended !== undefined) return Promise.reject(this.#ended);
    return new Promise((resolve, reject) => {
      const call = this.#calls++;
      this.#pending.set(call, { resolve, reject });
      host.setBusy(this.#worker, true);
      this.#worker.postMessage({ call, method, args });
    });
  }

  #settle({ call, result, error }) {
    const { resolve, reject } = this.#pending.get(call);
    this.#pending.delete(call);
    if (this.#pending.size === 0) host.setBusy(this.#worker, false);
    if (error === undefined) resolve(result);
    else reject(new WbxError(error.code, error.text));
  }

  #end(error) {
    this.#ended ??= error;
    for (const { reject } of this.#pending.values()) reject(this.#ended);
    this.#pending.clear();
  }
}

class WorkerImage {
  #call;

  constructor(call, info, metadata) {
    this.#call = call;
    this.info = info;
    this.metadata = metadata;
  }

  decode(options) {
    return this.#call('decode', options);
  }

  async imageData({ level, tiles } = {}) {
    const { data, width, height } = await this.decode({ level, tiles, order: 'rgba' });
    return typeof ImageData === 'function' ? new ImageData(data, width, height)
      : { data, width, height };
  }

  tileGrid(level) {
    return this.#call('tileGrid', level);
  }

  close() {
    return this.#call('close');
  }
}
