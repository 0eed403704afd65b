// The chosen node of the ancestry as a definition: how many events go through it, and a copy for whoever defines events.

import { copyButton } from './copy.mjs';
import { el, setText } from './dom.mjs';
import { plural } from './format.mjs';

const SETTLE_MS = 150; // while nodes are walked through, and while events rush in
const AGAIN_MS = 1000; // between two counts of the same node

export class Definition {
  #store;
  #wanted = null; // {id, index} of event and node
  #known = null; // what the service said last: {definition, ids, of}
  #isUnanswered = false; // it did not say, or no longer keeps the event
  #timer = null;
  #count = el('span', { class: 'matches grow', role: 'status' });
  #copy = copyButton('Copy as definition', () => JSON.stringify(this.#known?.definition ?? null, null, 2));
  element = el('p', { class: 'line definition' }, this.#count, this.#copy);

  constructor(store) {
    this.#store = store;
    store.subscribe((change) => (change.events || change.reset) && this.#wanted && this.#askSoon(AGAIN_MS));
  }

  /** The node of the event's ancestry that is looked at, by its place as sent; null when there is none. */
  show(id, index) {
    this.#wanted = index === null ? null : { id, index };
    this.#known = null;
    this.#isUnanswered = false;
    this.#render();
    clearTimeout(this.#timer);
    this.#timer = null;
    if (this.#wanted) this.#askSoon(SETTLE_MS);
    else this.#store.setMatches([]);
  }

  #askSoon(milliseconds) {
    this.#timer ??= setTimeout(() => this.#ask(), milliseconds);
  }

  async #ask() {
    this.#timer = null;
    const wanted = this.#wanted;
    const known = await load(`events/${wanted.id}/matches.json?node=${wanted.index}`);
    if (wanted !== this.#wanted) return;
    this.#isUnanswered = known === null;
    this.#known = known ?? this.#known;
    this.#store.setMatches(this.#known?.ids ?? []);
    this.#render();
  }

  #render() {
    this.element.hidden = this.#wanted === null;
    setText(this.#count, this.#words());
    if (this.#known) this.#copy.removeAttribute('aria-disabled');
    else this.#copy.setAttribute('aria-disabled', 'true'); // it keeps the focus
  }

  #words() {
    if (!this.#known && this.#isUnanswered) return 'Not counted: the service no longer keeps this event, or did not answer';
    if (!this.#known) return 'Counting what it matches…';
    const { ids, of } = this.#known;
    const counted = `${ids.length} of the last ${plural(of, 'event')}`;
    return this.#isUnanswered ? `Matched ${counted} when they were counted last` : `Matches ${counted}`;
  }
}

async function load(url) {
  try {
    const response = await fetch(url);
    return response.ok ? await response.json() : null;
  } catch {
    return null;
  }
}
