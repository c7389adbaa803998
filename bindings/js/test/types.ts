// Compiled, never run: the types of the package as a caller meets them.
import { WbxDecoder, WbxError, WbxWorker } from 'wbx-codec';
import type { DecodeOptions, Picture } from 'wbx-codec';

export async function use(bytes: Uint8Array, canvas: CanvasRenderingContext2D): Promise<Picture> {
  const options: DecodeOptions = { level: 1, tiles: [0, 1], order: 'rgba' };
  const image = (await WbxDecoder.load({ simd: false })).open(bytes);
  canvas.putImageData(image.imageData({ level: image.info.resolutions.length - 1 }), 0, 0);
  const texts: (string | undefined)[] = image.metadata.map((entry) => entry.text);
  const worker = await WbxWorker.start();
  const remote = await worker.open(bytes.buffer);
  try {
    return await remote.decode(options);
  } catch (error) {
    if (error instanceof WbxError && error.code === 6) console.log(texts, error.message);
    // @ts-expect-error there is no such order
    return image.decode({ order: 'bgra' });
  } finally {
    worker.terminate();
    image.close();
  }
}
