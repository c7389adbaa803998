// Runs in a worker of a browser.
import { serve } from './serve.js';

const answer = serve((message, buffers) => self.postMessage(message, buffers));
self.onmessage = (event) => answer(event.data);
