// The page of what was received, below "/received/": its files, its records, and the plan that it compares events with.

import { sendJson } from './http-io.mjs';
import { comesFromElsewhere } from './own-origin.mjs';
import { beginPage, sendPageFile } from './page-files.mjs';
import { ReceivedList } from './received-list.mjs';
import { rowOf } from './record-rows.mjs';

const WAIT_MS = 20_000;
const CHANGES = ['added', 'reset']; // of the store
const MAX_PART = 500; // records an answer; a page asks again for the rest

/** A record with its line of the table; a line of the file that only looks like a record tells nothing. */
function described(record) {
  try {
    const [, , , what, , , details] = rowOf(record);
    return { what, details, record };
  } catch {
    return { what: '', details: '', record };
  }
}

export class ReceivedRoutes {
  #store;
  #list;
  #settings;

  /** `isLive`: whether there is a page of live events, too. */
  constructor({ store, file, plan = null, isLive }) {
    this.#store = store;
    this.#list = new ReceivedList({ store, file });
    this.#settings = { plan, isLive };
  }

  async handle(request, response, path, query) {
    if (comesFromElsewhere(request)) {
      request.resume();
      return sendJson(response, 403, { problems: ['this service answers programs and pages of its own only'] });
    }
    if (!beginPage(request, response)) return undefined;
    if (path === '/received') return response.writeHead(308, { Location: '/received/' }).end();
    const name = path.slice('/received/'.length);
    if (name === 'settings.json') return sendJson(response, 200, this.#settings);
    if (name === 'records.json') return this.#sendRecords(response, new URLSearchParams(query));
    return sendPageFile(response, name === '' ? 'received.html' : name);
  }

  /** What is newer than number `since` of that run, all of it of another run; when there is nothing, as soon as there is. */
  #sendRecords(response, asked) {
    const since = Number(asked.get('since')) || 0;
    const isKnown = () => asked.get('run') === this.#list.run;
    const stop = () => {
      clearTimeout(timer);
      for (const change of CHANGES) this.#store.off(change, send);
    };
    const send = () => {
      stop();
      const { run, last } = this.#list;
      const entries = this.#list.since(isKnown() ? since : 0).slice(0, MAX_PART);
      sendJson(response, 200, { run, last, records: entries.map(({ number, line }) => ({ number, ...described(JSON.parse(line)) })) });
    };
    const timer = setTimeout(send, WAIT_MS);
    for (const change of CHANGES) this.#store.on(change, send);
    response.once('close', stop);
    if (!isKnown() || this.#list.last > since) send();
  }
}
