// The devices that announced themselves, and where each stands: available, asked to pair, paired, gone. Knows nothing of
// sockets. Emits 'changed' (device) and 'removed' (id).

import { randomInt } from 'node:crypto';
import { EventEmitter } from 'node:events';

const GONE_MS = 60_000;

export class DeviceList extends EventEmitter {
  #devices = new Map();
  #hasEventsOf;
  #goneMs;

  /** A device that is gone stays for `goneMs`, and for as long as `hasEventsOf(id)`. */
  constructor({ hasEventsOf, goneMs = GONE_MS }) {
    super();
    this.#hasEventsOf = hasEventsOf;
    this.#goneMs = goneMs;
  }

  find(id) {
    return this.#devices.get(id);
  }

  all() {
    return [...this.#devices.values()];
  }

  add(id, facts) {
    const now = Date.now();
    const fresh = { state: 'available', note: null, pairCode: null, since: now, lastSeen: now, events: 0 };
    const device = { id, ...facts, card: this.#cardFor(facts), ...fresh };
    this.#devices.set(id, device);
    this.emit('changed', device);
  }

  /** Of the devices of one app, name and type: that of the one that left last, which comes back, or the first that is free. */
  #cardFor({ appId, name, type }) {
    const isGone = ({ state }) => state === 'gone';
    const alike = this.all().filter((one) => one.appId === appId && one.name === name && one.type === type);
    const taken = new Set(alike.filter((one) => !isGone(one)).map(({ card }) => card));
    const [left] = alike.filter((one) => isGone(one) && !taken.has(one.card)).sort((one, other) => other.since - one.since);
    let card = 1;
    while (taken.has(card)) card++;
    return left?.card ?? card;
  }

  noteSeen(device) {
    device.lastSeen = Date.now();
    this.emit('changed', device);
  }

  noteEvent(device) {
    device.events++;
    this.noteSeen(device);
  }

  /** Returns the code of the request, which no other device was asked with. */
  ask(device) {
    const taken = new Set(this.all().map(({ pairCode }) => pairCode));
    let code;
    do code = String(randomInt(10_000)).padStart(4, '0');
    while (taken.has(code));
    this.#enter(device, 'asked', code);
    return code;
  }

  /** Takes a request back. The device itself cannot be told: it may go on showing the code. */
  cancel(device) {
    this.#enter(device, 'available', null, 'cancelled');
  }

  accept(device) {
    this.#enter(device, 'paired', device.pairCode);
  }

  /** `why`: 'left', 'lost', 'refused', 'disconnected' or 'late'. */
  leave(device, why) {
    this.#enter(device, 'gone', null, why);
    setTimeout(() => this.#removeIfDone(device), this.#goneMs).unref();
  }

  #enter(device, state, pairCode, note = null) {
    Object.assign(device, { state, note, pairCode, since: Date.now() });
    this.emit('changed', device);
  }

  /** To be called when events were dropped: they may have been the last of a device that is gone. */
  eventsWereDropped() {
    for (const device of this.all()) this.#removeIfDone(device);
  }

  #removeIfDone({ id, state, since }) {
    if (state !== 'gone' || Date.now() - since < this.#goneMs || this.#hasEventsOf(id)) return;
    if (this.#devices.delete(id)) this.emit('removed', id);
  }
}
