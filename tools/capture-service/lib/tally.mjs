// Numbers what arrives, and counts it. Numbers grow for the life of the process; counts start anew at a reset.

import { endpointNames } from './endpoints/index.mjs';

export class Tally {
  #lastConnection = 0;
  #lastRequest = 0;
  #lastBatch = 0;
  #connectionNumbers = new WeakMap();
  #counted = new WeakSet();
  #counts;

  constructor() {
    this.reset();
  }

  reset() {
    this.#counted = new WeakSet();
    this.#counts = { connections: 0, requests: 0, batches: 0, valid: 0, invalid: 0, endpoints: {} };
    for (const name of endpointNames) this.#counts.endpoints[name] = { valid: 0, invalid: 0 };
  }

  /** The fields that all items of one request share. A connection counts once it carries a request. */
  openRequest(endpoint, socket, isBatch) {
    this.#counts.requests++;
    const receipt = {
      receivedAt: Date.now(),
      endpoint,
      connection: this.#connectionNumber(socket),
      request: ++this.#lastRequest,
    };
    if (isBatch) {
      this.#counts.batches++;
      receipt.batch = ++this.#lastBatch;
    }
    return receipt;
  }

  countItem(endpoint, valid) {
    const outcome = valid ? 'valid' : 'invalid';
    this.#counts[outcome]++;
    this.#counts.endpoints[endpoint][outcome]++;
  }

  get counts() {
    return this.#counts;
  }

  #connectionNumber(socket) {
    if (!this.#connectionNumbers.has(socket)) this.#connectionNumbers.set(socket, ++this.#lastConnection);
    if (!this.#counted.has(socket)) {
      this.#counted.add(socket);
      this.#counts.connections++;
    }
    return this.#connectionNumbers.get(socket);
  }
}
