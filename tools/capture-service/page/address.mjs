// Filter and selection stand in the page's address, so that they survive a reload and can be sent to somebody:
// #event=42&kinds=touch,change&q=basket

import { notice } from './dom.mjs';
import { KINDS } from './format.mjs';

const REST_MS = 250; // between two changes: browsers slow a page down, or stop it, that changes its address with each key

export class Address {
  #store;
  #isRead = false; // the service has said what there is
  #timer = null;
  #writtenAt = -Infinity;

  constructor(store) {
    this.#store = store;
    addEventListener('hashchange', () => this.#read());
    store.subscribe((change) => {
      if (!this.#isRead && change.reset) this.#read();
      else if (this.#isRead && (change.filter || change.selection || change.reset)) this.#writeSoon();
    });
  }

  /** Writes what waits to be written. */
  flush() {
    if (this.#timer !== null) this.#write();
  }

  #read() {
    this.#isRead = true;
    this.#stopTimer();
    const given = new URLSearchParams(location.hash.slice(1));
    const kinds = (given.get('kinds') ?? '').split(',').filter((kind) => Object.hasOwn(KINDS, kind));
    this.#store.setFilter({ text: given.get('q') ?? '', kinds: new Set(kinds), device: given.get('device') });
    if (!given.has('event')) return;
    const summary = this.#store.events.find(({ id }) => String(id) === given.get('event'));
    if (summary) this.#store.select(summary);
    else notice(`Event ${given.get('event')} was cleared from this page, or is none of the last ${this.#store.limit}.`);
  }

  #stopTimer() {
    clearTimeout(this.#timer);
    this.#timer = null;
  }

  #writeSoon() {
    const rest = this.#writtenAt + REST_MS - performance.now();
    if (rest <= 0) this.#write();
    else this.#timer ??= setTimeout(() => this.#write(), rest);
  }

  #write() {
    this.#stopTimer();
    this.#writtenAt = performance.now();
    const { filter, selected, following } = this.#store;
    const parts = new URLSearchParams();
    if (selected && !following) parts.set('event', selected.id);
    if (filter.kinds.size > 0) parts.set('kinds', [...filter.kinds].join(','));
    if (filter.text) parts.set('q', filter.text);
    if (filter.device !== null) parts.set('device', filter.device);
    const hash = parts.size > 0 ? `#${parts.toString().replaceAll('%2C', ',')}` : '';
    if (hash !== location.hash) history.replaceState(history.state, '', hash || location.pathname);
  }
}
