// The worker's side: a decoder and its images behind a port of messages.
import { WbxDecoder } from './decoder.js';
import { ErrorCode } from './error.js';

function errorOf(error) {
  return { code: error.code ?? ErrorCode.internal, text: error.message };
}

function buffersOf(result) {
  return result?.data === undefined ? [] : [result.data.buffer];
}

class Server {
  #decoder;
  #images = new Map();

  async load(options) {
    this.#decoder = await WbxDecoder.load(options);
  }

  open(id, bytes) {
    const image = this.#decoder.open(bytes);
    this.#images.set(id, image);
    return { info: image.info, metadata: image.metadata };
  }

  decode(id, options) {
    return this.#images.get(id).decode(options);
  }

  tileGrid(id, level) {
    return this.#images.get(id).tileGrid(level);
  }

  close(id) {
    this.#images.get(id).close();
    this.#images.delete(id);
  }
}

// Answers every message {call, method, args} with {call, result} or {call, error}, in their order.
export function serve(post) {
  const server = new Server();
  let last = Promise.resolve();
  const answer = async ({ call, method, args }) => {
    try {
      const result = await server[method](...args);
      post({ call, result }, buffersOf(result));
    } catch (error) {
      post({ call, error: errorOf(error) }, []);
    }
  };
  return (message) => {
    last = last.then(() => answer(message));
  };
}
