// The library as it lies in one WebAssembly instance: its memory and its calls.
import { ErrorCode, WbxError } from './error.js';
import { host } from './host.js';

// A module of one function: i8x16.splat of a constant, which only a host with vectors accepts.
const VECTOR_PROBE = Uint8Array.of(
  0, 97, 115, 109, 1, 0, 0, 0, 1, 5, 1, 96, 0, 1, 123, 3, 2, 1, 0, 10, 8, 1, 6, 0, 65, 0, 253, 15, 11);

export function hasVectors() {
  return WebAssembly.validate(VECTOR_PROBE);
}

// What the C library of the module asks for. It has no files and needs no clock: nothing is there.
function imports() {
  const nothing = () => 0;
  return {
    env: { emscripten_notify_memory_growth: nothing },
    wasi_snapshot_preview1: {
      clock_time_get: nothing,
      fd_close: nothing,
      fd_seek: nothing,
      fd_write: nothing,
      proc_exit() {
        throw new WebAssembly.RuntimeError('the module ended itself');
      },
    },
  };
}

const compiled = new Map();

async function compileOwn(simd) {
  return WebAssembly.compile(await host.read(host.wasmUrl(simd)));
}

// Compiles each of the two builds once; a failure is forgotten, so that the next call tries again.
function compile(simd) {
  if (!compiled.has(simd)) {
    const module = compileOwn(simd);
    compiled.set(simd, module);
    module.catch(() => compiled.delete(simd));
  }
  return compiled.get(simd);
}

export class Module {
  #exports;
  #failed = false;

  static async load({ simd = hasVectors(), wasm } = {}) {
    const module = wasm === undefined ? await compile(Boolean(simd))
      : wasm instanceof WebAssembly.Module ? wasm
      : await WebAssembly.compile(wasm);
    return new Module(await WebAssembly.instantiate(module, imports()));
  }

  constructor(instance) {
    this.#exports = instance.exports;
    this.#exports._initialize();
  }

  // Views are made anew for every use: growing memory detaches the old ones.
  bytes(address, length) {
    return new Uint8Array(this.#exports.memory.buffer, address, length);
  }

  words(address, length) {
    return new Uint16Array(this.#exports.memory.buffer, address, length);
  }

  u32(address, count) {
    return new Uint32Array(this.#exports.memory.buffer, address, count);
  }

  // Calls an exported function. A trap, which would be a fault of the library or a stack that ran
  // out, leaves the instance in no known state, so it is not entered again.
  call(name, ...args) {
    if (this.#failed) throw new WbxError(ErrorCode.internal, 'The module failed before');
    try {
      return this.#exports[name](...args);
    } catch (trap) {
      this.#failed = true;
      throw Object.assign(new WbxError(ErrorCode.internal, 'The module failed'), { cause: trap });
    }
  }

  // Runs a function of the library whose result is an error code.
  check(name, ...args) {
    const code = this.call(name, ...args);
    if (code !== 0) throw this.error(code);
  }

  error(code) {
    return new WbxError(code, this.#text(this.call('WBX_getErrorStr', code) >>> 0));
  }

  allocate(length) {
    const address = length <= 0xFFFFFFFF ? this.call('malloc', length) >>> 0 : 0;
    if (address === 0) throw this.error(ErrorCode.memory);
    return address;
  }

  // Does nothing once the instance has failed: all goes with it.
  free(address) {
    if (!this.#failed) this.call('free', address);
  }

  closeImage(handle, source) {
    if (this.#failed) return;
    this.call('WBX_Close', handle);
    this.free(source);
  }

  // Lends `length` zeroed bytes at an address that is a multiple of 8.
  withMemory(length, use) {
    const address = this.allocate(length);
    try {
      this.bytes(address, length).fill(0);
      return use(address);
    } finally {
      this.free(address);
    }
  }

  withText(text, use) {
    const bytes = new TextEncoder().encode(`${text}\0`);
    return this.withMemory(bytes.length, (address) => {
      this.bytes(address, bytes.length).set(bytes);
      return use(address);
    });
  }

  #text(address) {
    const memory = new Uint8Array(this.#exports.memory.buffer);
    return new TextDecoder().decode(memory.subarray(address, memory.indexOf(0, address)));
  }
}
