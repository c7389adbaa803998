// Chromium, driven through the WebDriver protocol of its chromedriver.
import { spawn } from 'node:child_process';
import { writeFileSync } from 'node:fs';

const CHROMIUM = ['--headless=new', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
  '--disable-background-networking', '--disable-component-update', '--disable-sync',
  '--window-size=1280,860'];
const ELEMENT = 'element-6066-11e4-a52e-4f735466cecf';

async function send(method, url, body) {
  const response = await fetch(url, { method, body: body && JSON.stringify(body) });
  const { value } = await response.json();
  if (!response.ok) throw new Error(`${url}: ${value.error}: ${value.message}`);
  return value;
}

// Starts chromedriver on a port that it chooses.
function startDriver() {
  const driver = spawn('chromedriver', ['--port=0'], { stdio: ['ignore', 'pipe', 'inherit'] });
  return new Promise((resolve, reject) => {
    driver.on('error', reject);
    driver.stdout.on('data', (text) => {
      const port = /successfully on port (\d+)/.exec(text)?.[1];
      if (port !== undefined) resolve({ driver, url: `http://127.0.0.1:${port}` });
    });
  });
}

export class Browser {
  static async start() {
    const { driver, url } = await startDriver();
    const capabilities = { alwaysMatch: { 'goog:chromeOptions': { args: CHROMIUM } } };
    const { sessionId } = await send('POST', `${url}/session`, { capabilities });
    const browser = new Browser(driver, `${url}/session/${sessionId}`);
    await browser.#post('timeouts', { script: 240000 });
    return browser;
  }

  #driver;
  #session;

  constructor(driver, session) {
    this.#driver = driver;
    this.#session = session;
  }

  #post(path, body) {
    return send('POST', `${this.#session}/${path}`, body);
  }

  open(url) {
    return this.#post('url', { url });
  }

  // Runs an asynchronous function of the page with these arguments and returns its result.
  run(asynchronous, ...args) {
    const script = `const done = arguments[arguments.length - 1];
      (${asynchronous})(...[...arguments].slice(0, -1)).then(done, (e) => done({ failed: String(e) }));`;
    return this.#post('execute/async', { script, args });
  }

  async #element(selector) {
    const found = await this.#post('element', { using: 'css selector', value: selector });
    return found[ELEMENT];
  }

  // Types into an element; a file input takes a path.
  async type(selector, text) {
    await this.#post(`element/${await this.#element(selector)}/value`, { text });
  }

  async click(selector) {
    await this.#post(`element/${await this.#element(selector)}/click`, {});
  }

  // Waits until the text of an element matches, and returns it.
  waitForText(selector, pattern) {
    return this.run(async (css, source) => {
      const end = performance.now() + 120000;
      for (;;) {
        const text = document.querySelector(css).innerText;
        if (new RegExp(source).test(text)) return text;
        if (performance.now() > end) throw new Error(`${css} says: ${text}`);
        await new Promise((resolve) => setTimeout(resolve, 20));
      }
    }, selector, pattern.source);
  }

  async screenshot(path) {
    writeFileSync(path, Buffer.from(await send('GET', `${this.#session}/screenshot`), 'base64'));
  }

  async stop() {
    await send('DELETE', this.#session).catch(() => {});
    this.#driver.kill();
  }
}
