// The part of the service that the library talks to: every request becomes records, then gets its answer.

import { show } from './checks.mjs';
import { endpointAt, OTHER } from './endpoints/index.mjs';
import { readBody, sendJson } from './http-io.mjs';
import { comesFromElsewhere } from './own-origin.mjs';

export class CaptureRoutes {
  #store;
  #behaviour;
  #bodyLimit;

  constructor({ store, behaviour, bodyLimit }) {
    this.#store = store;
    this.#behaviour = behaviour;
    this.#bodyLimit = bodyLimit;
  }

  async handle(request, response, path, query) {
    const isForeign = comesFromElsewhere(request); // now: a socket that has broken off knows its port no more
    const { body, size, complete } = await readBody(request, this.#bodyLimit);
    if (isForeign) {
      sendJson(response, 403, { problems: ['this service records what programs send, and no pages of other origins'] });
      return;
    }
    const endpoint = endpointAt(path);
    const refusal = this.#refusal({ request, endpoint, path, body, size, complete });
    const receipt = this.#store.tally.openRequest(
      endpoint?.name ?? OTHER,
      request.socket,
      endpoint?.isBatch === true && refusal === null,
    );
    if (refusal !== null) {
      const { status, problem, headers, answered = String(status) } = refusal;
      const content = { method: request.method, path: path.slice(0, 2000), bodyBytes: size };
      this.#store.add(receipt, [{ problems: [problem], content }], { answered });
      sendJson(response, status, { problems: [problem] }, headers);
      return;
    }
    const items = endpoint.read({ query, headers: request.headers, body });
    this.#answer(endpoint, receipt, items, response);
  }

  /** Bytes that were no HTTP request. */
  recordMalformed(socket, reason, status) {
    const receipt = this.#store.tally.openRequest(OTHER, socket, false);
    const problems = [`not an HTTP request: ${reason}`];
    this.#store.add(receipt, [{ problems, content: {} }], { answered: String(status) });
  }

  /** Why the request is not even read, or null. */
  #refusal({ request, endpoint, path, body, size, complete }) {
    if (!complete) {
      return { status: 400, answered: 'aborted', problem: `the sender went away after ${size} bytes of the body` };
    }
    if (endpoint === undefined) return { status: 404, problem: `unknown path ${show(path)}` };
    if (request.method !== endpoint.method) {
      const problem = `method ${request.method}, not ${endpoint.method}`;
      return { status: 405, problem, headers: { Allow: endpoint.method } };
    }
    if (body === null) return { status: 413, problem: `a body of ${size} bytes, over the limit of ${this.#bodyLimit}` };
    return null;
  }

  #answer(endpoint, receipt, items, response) {
    const problems = items.flatMap((item) => item.problems);
    const status = problems.length > 0 ? 400 : 200;
    const { mode, delayMs, status: badStatus } = this.#behaviour.take(endpoint.name);
    const bad = mode !== 'normal' && mode !== 'slow';
    const answered = mode === 'status' ? String(badStatus) : bad ? mode : String(status);
    this.#store.add(receipt, items, { answered, delayMs });

    const answer = {
      normal: () => sendJson(response, status, status === 200 ? { ok: true } : { problems: problems.slice(0, 100) }),
      status: () => sendJson(response, badStatus, { ok: false }),
      reset: () => response.socket?.resetAndDestroy(),
      'reset-mid-body': () => resetMidBody(response),
      silent: () => {},
    };
    const send = answer[mode === 'slow' ? 'normal' : mode];
    if (delayMs > 0) setTimeout(send, delayMs);
    else send();
  }
}

/** Promises 1,000 bytes, delivers ten, and resets the connection. */
function resetMidBody(response) {
  const { socket } = response;
  response.writeHead(200, { 'Content-Type': 'application/json', 'Content-Length': 1000 });
  response.write('{"ok":true', () => socket?.resetAndDestroy());
}
