// The part of the service that developers and tests talk to, below "/_/": what was received, and how to answer.

import { isObject, oneOf } from './checks.mjs';
import { parseSetting } from './behaviour.mjs';
import { endpointNames } from './endpoints/index.mjs';
import { readBody, sendJson } from './http-io.mjs';
import { comesFromElsewhere } from './own-origin.mjs';

const BODY_LIMIT = 64 * 1024;
const MAX_WAIT_MS = 600_000;

export class ControlRoutes {
  #store;
  #behaviour;
  #routes = {
    'GET /_/records': (request, response, query) => this.#listRecords(response, query),
    'GET /_/counts': (request, response) => sendJson(response, 200, this.#store.counts()),
    'POST /_/reset': (request, response) => this.#reset(response),
    'GET /_/behaviour': (request, response) => sendJson(response, 200, this.#behaviour.setting),
    'POST /_/behaviour': (request, response, query, body) => this.#setBehaviour(response, body),
  };

  constructor({ store, behaviour }) {
    this.#store = store;
    this.#behaviour = behaviour;
  }

  async handle(request, response, path, query) {
    const { body, complete } = await readBody(request, BODY_LIMIT);
    if (!complete) return;
    const route = this.#routes[`${request.method} ${path}`];
    if (comesFromElsewhere(request)) refuse(response, 403, 'this service answers programs and pages of its own only');
    else if (route === undefined) refuse(response, 404, `no ${request.method} ${path}`);
    else if (body === null) refuse(response, 413, `a body over ${BODY_LIMIT} bytes`);
    else route(request, response, query, body);
  }

  #reset(response) {
    this.#store.reset();
    this.#behaviour.reset();
    sendJson(response, 200, { ok: true, last: this.#store.lastSeq });
  }

  #setBehaviour(response, body) {
    const given = parseJson(body.toString('utf8'));
    if (!isObject(given)) return refuse(response, 400, 'the body is not a JSON object');
    const { setting, problems } = parseSetting(given);
    if (problems !== undefined) return refuse(response, 400, ...problems);
    this.#behaviour.set(setting);
    return sendJson(response, 200, setting);
  }

  /** Answers at once, or when `atLeast` records are there, or after `waitMs`, whichever is first. */
  #listRecords(response, query) {
    const { atLeast, waitMs, filter, problems } = parseListing(query);
    if (problems.length > 0) return refuse(response, 400, ...problems);
    const isEnough = () => this.#store.select({ ...filter, limit: atLeast }).length >= atLeast;
    const answer = () => {
      clearTimeout(timer);
      this.#store.off('added', answerIfEnough);
      const records = this.#store.select(filter).join(',\n');
      sendJson(response, 200, `{"last":${this.#store.lastSeq},"records":[\n${records}\n]}\n`);
    };
    const answerIfEnough = () => isEnough() && answer();
    const timer = setTimeout(answer, waitMs);
    this.#store.on('added', answerIfEnough);
    response.once('close', () => {
      clearTimeout(timer);
      this.#store.off('added', answerIfEnough);
    });
    answerIfEnough();
    return undefined;
  }
}

function parseListing(query) {
  const problems = [];
  const given = new URLSearchParams(query);
  const number = (name, otherwise, most = Number.MAX_SAFE_INTEGER) => {
    const text = given.get(name);
    given.delete(name);
    if (text === null) return otherwise;
    if (!/^\d{1,15}$/.test(text) || Number(text) > most) problems.push(`${name} is not a whole number, 0 to ${most}`);
    return Number(text);
  };
  const endpoint = given.get('endpoint');
  given.delete('endpoint');
  if (endpoint !== null) oneOf(...endpointNames)(endpoint, 'endpoint', problems);
  const filter = { endpoint, since: number('since', 0), limit: number('limit', Infinity) };
  const atLeast = number('atLeast', 0);
  const waitMs = number('waitMs', 0, MAX_WAIT_MS);
  for (const name of given.keys()) problems.push(`unknown parameter ${name}`);
  return { filter, atLeast, waitMs, problems };
}

function parseJson(text) {
  try {
    return JSON.parse(text);
  } catch {
    return undefined;
  }
}

function refuse(response, status, ...problems) {
  sendJson(response, status, { problems });
}
