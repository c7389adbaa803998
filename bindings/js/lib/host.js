// What differs between a browser and Node.js: how a file beside this one is read, and how a worker
// starts. These are the browser's; node.js puts its own in their place. The URLs are spelled out in
// full because that is what bundlers look for.
export const host = {
  wasmUrl(simd) {
    return simd
      ? new URL('./wbx-simd.wasm', import.meta.url)
      : new URL('./wbx.wasm', import.meta.url);
  },

  // Something that WebAssembly.compile takes.
  async read(url) {
    const response = await fetch(url);
    if (!response.ok) throw new Error(`${url}: ${response.status} ${response.statusText}`);
    return response.arrayBuffer();
  },

  // A worker with postMessage, terminate, and the two handlers called.
  startWorker(onMessage, onError) {
    const worker = new Worker(new URL('./wbx-worker.js', import.meta.url), { type: 'module' });
    worker.onmessage = (event) => onMessage(event.data);
    worker.onerror = (event) => onError(new Error(event.message ?? 'the worker did not start'));
    return worker;
  },

  // Called when a worker becomes busy or idle.
  setBusy() {},
};
