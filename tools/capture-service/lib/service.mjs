// The service as a whole: one HTTP server on the loopback, its store, and the routes. Further parts that live on the
// same port (pages, sockets) get a route of their own here, or attach to `http`.

import http from 'node:http';
import { Behaviour } from './behaviour.mjs';
import { CaptureRoutes } from './capture-routes.mjs';
import { ControlRoutes } from './control-routes.mjs';
import { ReceivedRoutes } from './received-routes.mjs';
import { RecordStore } from './record-store.mjs';

const HOST = '127.0.0.1';
const MAX_HEADER_BYTES = 4 * 1024 * 1024; // the library sets no limit to the length of a URL

export class Service {
  http;
  #store;
  #capture;
  #control;
  #received;
  #log;
  #visualizerSettings;
  #visualizer = null;
  #busy = new WeakSet(); // sockets whose request is being read

  /**
   * Throws when the file cannot be opened. `plan` is what the page of received records compares events with. The service owns its store and closes it. With `visualizer`, the settings of a
   * Visualizer, it shows live events, too.
   */
  constructor({ file = null, plan, maxRecords, bodyLimit = 32 * 1024 * 1024, behaviour, visualizer, log = () => {} } = {}) {
    this.#log = log;
    this.#visualizerSettings = visualizer;
    this.#store = new RecordStore({ file, maxRecords, log });
    this.#received = new ReceivedRoutes({ store: this.#store, file, plan, isLive: visualizer !== undefined });
    const parts = { store: this.#store, behaviour: new Behaviour(behaviour), bodyLimit };
    this.#capture = new CaptureRoutes(parts);
    this.#control = new ControlRoutes(parts);
    // Idle connections are the library's to close: it may come back after any time.
    this.http = http.createServer({ maxHeaderSize: MAX_HEADER_BYTES, keepAliveTimeout: 0 });
    this.http.on('request', (request, response) => this.#route(request, response));
    this.http.on('clientError', (error, socket) => this.#answerMalformed(error, socket));
  }

  /** Listens on the loopback only. Resolves to the base URL. */
  async start(port = 0) {
    if (this.#visualizerSettings !== undefined) await this.#attachVisualizer();
    return new Promise((resolve, reject) => {
      this.http.once('error', reject);
      this.http.listen(port, HOST, () => resolve(`http://${HOST}:${this.http.address().port}`));
    });
  }

  /** Ends open connections, answered or not. */
  async stop() {
    await this.#visualizer?.close();
    const closed = new Promise((resolve) => this.http.close(resolve));
    this.http.closeAllConnections();
    await closed;
    this.#store.close();
  }

  /** Loaded here, because it alone needs npm packages. */
  async #attachVisualizer() {
    const { Visualizer } = await import('./visualizer/visualizer.mjs').catch((error) => {
      if (error.code !== 'ERR_MODULE_NOT_FOUND') throw error;
      throw new Error(`the visualizer needs its packages ("npm ci" in tools/capture-service): ${error.message}`);
    });
    this.#visualizer = new Visualizer({ ...this.#visualizerSettings, records: this.#store, log: this.#log });
    this.http.on('upgrade', (request, socket, head) => {
      this.#visualizer.handleUpgrade(request, socket, head, split(request.url).path);
    });
  }

  async #route(request, response) {
    const { path, query } = split(request.url);
    const routes = this.#routesOf(request.method, path);
    this.#busy.add(request.socket);
    response.once('close', () => this.#busy.delete(request.socket));
    await routes.handle(request, response, path, query);
  }

  #routesOf(method, path) {
    if (path.startsWith('/_/')) return this.#control;
    if (path === '/received' || path.startsWith('/received/')) return this.#received;
    return this.#visualizer?.serves(method, path) ? this.#visualizer : this.#capture;
  }

  #answerMalformed(error, socket) {
    // A request that has begun is recorded where its body is read; a connection that just ended is no request.
    const isRequest = error.code?.startsWith('HPE_') && error.code !== 'HPE_INVALID_EOF_STATE';
    if (isRequest && !this.#busy.has(socket)) {
      const status = error.code === 'HPE_HEADER_OVERFLOW' ? 431 : 400;
      this.#capture.recordMalformed(socket, error.reason ?? error.message, status);
      if (socket.writable) socket.write(`HTTP/1.1 ${status} ${http.STATUS_CODES[status]}\r\nConnection: close\r\n\r\n`);
    }
    socket.destroySoon();
  }
}

function split(url) {
  const mark = url.indexOf('?');
  return mark < 0 ? { path: url, query: '' } : { path: url.slice(0, mark), query: url.slice(mark + 1) };
}
